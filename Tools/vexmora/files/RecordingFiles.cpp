// Looking for the parts of a recording in a folder, and refusing what is no file of bytes.
#include "files/RecordingFiles.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <filesystem>
#include <map>
#include <regex>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>

#include "CommandError.h"

namespace VexmoraCommand {

namespace fs = std::filesystem;

namespace {

constexpr std::array<std::string_view, 10> kExtensions = {".ts",  ".m2ts", ".mts",  ".rec", ".vdr",
                                                          ".vob", ".mpg",  ".mpeg", ".m2v", ".trp"};

std::string LowerCase(std::string inText) {
    std::ranges::transform(inText, inText.begin(), [](unsigned char in) { return std::tolower(in); });
    return inText;
}

std::vector<fs::path> EntriesOf(const std::string& inFolder) {
    std::error_code error;
    std::vector<fs::path> entries;
    for (fs::directory_iterator entry(inFolder, error), end; !error && entry != end; entry.increment(error))
        entries.push_back(entry->path());
    if (error) throw CommandError::FromSystem(inFolder, error);
    std::ranges::sort(entries);
    return entries;
}

std::uintmax_t BytesOf(const std::vector<std::string>& inFiles) {
    std::uintmax_t bytes = 0;
    for (const std::string& file : inFiles) {
        std::error_code error;
        const std::uintmax_t size = fs::file_size(file, error);
        if (!error) bytes += size;
    }
    return bytes;
}

// The parts of each title set that show video; those of number 0 are menus.
std::map<unsigned, std::vector<std::string>> TitleSetsIn(const std::vector<fs::path>& inEntries) {
    static const std::regex kPart("vts_([0-9]{2})_[1-9]\\.vob");
    std::map<unsigned, std::vector<std::string>> sets;
    for (const fs::path& entry : inEntries) {
        std::smatch match;
        const std::string name = LowerCase(entry.filename().native());
        if (std::regex_match(name, match, kPart))
            sets[static_cast<unsigned>(std::stoi(match[1]))].push_back(entry.native());
    }
    return sets;
}

std::vector<std::string> ChooseTitleSet(const std::string& inFolder,
                                        const std::map<unsigned, std::vector<std::string>>& inSets,
                                        std::optional<unsigned> inTitle) {
    if (!inTitle) {
        return std::ranges::max_element(inSets, {}, [](const auto& inSet) { return BytesOf(inSet.second); })
            ->second;
    }
    if (const auto found = inSets.find(*inTitle); found != inSets.end()) return found->second;
    std::string titles;
    for (const auto& [title, files] : inSets)
        titles += fmt::format("{}{}", titles.empty() ? "" : ", ", title);
    throw CommandError(ExitStatus::Usage, inFolder, fmt::format("it has no title set {}", *inTitle),
                       fmt::format("its title sets are {}", titles));
}

// Which recording a part belongs to by its name: all but the number at its end.
struct PartName {
    explicit PartName(const fs::path& inPath) : extension(LowerCase(inPath.extension().native())) {
        const std::string stem = inPath.stem().native();
        const std::size_t last = stem.find_last_not_of("0123456789");
        series = stem.substr(0, last == std::string::npos ? 0 : last + 1);
        std::from_chars(stem.data() + series.size(), stem.data() + stem.size(), number);
    }

    std::string extension;
    std::string series;
    std::uint64_t number = 0;
};

std::vector<std::string> NumberedPartsIn(const std::string& inFolder,
                                         const std::vector<fs::path>& inEntries) {
    std::map<std::pair<std::string, std::string>, std::map<std::pair<std::uint64_t, fs::path>, std::string>>
        recordings;
    for (const fs::path& entry : inEntries) {
        const PartName name(entry);
        std::error_code ignored;
        if (std::ranges::find(kExtensions, name.extension) == kExtensions.end() ||
            !fs::is_regular_file(entry, ignored))
            continue;
        recordings[{name.series, name.extension}][{name.number, entry}] = entry.native();
    }
    if (recordings.empty()) {
        throw CommandError(ExitStatus::Failed, inFolder,
                           "is a folder without VTS_01_1.VOB … and without parts such as 001.ts, 002.ts …",
                           "name a file in it, or several with --join");
    }
    if (recordings.size() > 1) {
        throw CommandError(
            ExitStatus::Failed, inFolder,
            fmt::format("is a folder with several recordings, '{}' and '{}' among them",
                        fs::path(recordings.begin()->second.begin()->second).filename().native(),
                        fs::path(recordings.rbegin()->second.begin()->second).filename().native()),
            "name a file in it, or several with --join");
    }
    std::vector<std::string> files;
    for (const auto& [number, file] : recordings.begin()->second) files.push_back(file);
    return files;
}

std::vector<std::string> FilesIn(const std::string& inFolder, std::optional<unsigned> inTitle) {
    const std::vector<fs::path> entries = EntriesOf(inFolder);
    auto sets = TitleSetsIn(entries);
    for (const fs::path& entry : entries) {
        std::error_code ignored;
        if (sets.empty() && LowerCase(entry.filename().native()) == "video_ts" &&
            fs::is_directory(entry, ignored))
            sets = TitleSetsIn(EntriesOf(entry.native()));
    }
    if (!sets.empty()) return ChooseTitleSet(inFolder, sets, inTitle);
    if (inTitle) {
        throw CommandError(ExitStatus::Usage, inFolder, "it has no title sets",
                           "leave --title out, or name the folder of a DVD");
    }
    return NumberedPartsIn(inFolder, entries);
}

// Opening a pipe could wait for ever.
void RefuseUnlessRegular(const std::string& inFile) {
    std::error_code error;
    const fs::file_status status = fs::status(inFile, error);
    switch (status.type()) {
        case fs::file_type::regular:
            return;
        case fs::file_type::not_found:
            throw CommandError::FromSystem(inFile,
                                           std::make_error_code(std::errc::no_such_file_or_directory));
        case fs::file_type::none:
            throw CommandError::FromSystem(inFile, error);
        case fs::file_type::directory:
            throw CommandError(ExitStatus::Failed, inFile, "is a folder", "join the files in it");
        case fs::file_type::fifo:
            throw CommandError(ExitStatus::Failed, inFile, "is a pipe", "write the stream to a file first");
        default:
            throw CommandError(ExitStatus::Failed, inFile, "is not a regular file",
                               "copy the stream to a file first");
    }
}

}  // namespace

RecordingFiles FindRecording(const std::string& inName, const std::vector<std::string>& inParts,
                             std::optional<unsigned> inTitle) {
    std::error_code ignored;
    RecordingFiles recording{.name = inName, .files = {inName}};
    if (fs::is_directory(inName, ignored)) {
        recording.files = FilesIn(inName, inTitle);
    } else if (inTitle) {
        throw CommandError(ExitStatus::Usage, inName, "is not the folder of a DVD",
                           "leave --title out, or name that folder");
    }
    recording.files.insert(recording.files.end(), inParts.begin(), inParts.end());
    std::ranges::for_each(recording.files, RefuseUnlessRegular);
    return recording;
}

}  // namespace VexmoraCommand
