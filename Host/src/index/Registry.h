// The list of known index files, in an SQLite database that several processes may use at once.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace VexmoraHost {

/// One index file.
struct RegistryEntry {
    std::string identity;  ///< text of the media's Guid; the key
    std::string fileName;  ///< in the registry's folder
    std::uint64_t bytes;   ///< size of the index file
    std::string hash;      ///< of its content, 32 hexadecimal digits
};

/// A media file as it was seen.
struct RegistryMedia {
    std::string path;   ///< as the system spells it; the key
    std::string facts;  ///< that tell it from any other content under this path; empty when they do not
};

/// `registry.sqlite3` in a folder. Holds no connection between calls, so it may be copied, used by any thread
/// and carried across a fork. A database that is damaged or not ours is moved aside to
/// `registry.sqlite3.damaged` and begun anew: what it listed is indexed again. Every function throws Error
/// when the disk or other users do not let it work.
class Registry {
  public:
    explicit Registry(std::filesystem::path inFolder);

    /// The entry of a media file: where its facts are those that were recorded with its path, of the identity
    /// recorded with them; else of the identity that inIdentify gives, and then the facts are recorded. What
    /// inIdentify throws comes through; it is called at most once.
    std::optional<RegistryEntry> Find(const RegistryMedia& inMedia,
                                      const std::function<std::string()>& inIdentify) const;

    /// Puts the index file in its place by inMove and lists it, both while no other process may; what inMove
    /// throws leaves the list as it was. Entries of the same media path with another identity are of content
    /// that is gone: they are removed, and the names of their files returned.
    std::vector<std::string> Record(const RegistryEntry& inEntry, const RegistryMedia& inMedia,
                                    const std::function<void()>& inMove) const;

  private:
    std::filesystem::path mFolder;
};

}  // namespace VexmoraHost
