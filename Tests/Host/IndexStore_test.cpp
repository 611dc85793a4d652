// An index file is used only if it is listed and whole; the list survives damage and several processes.
#include "index/IndexStore.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <utility>
#include <vector>

#include "Host/HostTestSupport.h"
#include "VexmoraHost/Error.h"

namespace VexmoraHost {
namespace {

namespace fs = std::filesystem;

Guid GuidOf(std::uint8_t inNumber) {
    return Guid{{inNumber, 0xAB}};
}

fs::path Publish(const IndexStore& inStore, const Guid& inIdentity, const fs::path& inMedia,
                 std::uint32_t inRecordCount = 3) {
    const StoredIndex index = MakeIndex(inIdentity, inRecordCount);
    auto draft = inStore.MakeDraft();
    return inStore.Publish(draft, index.header, index.records, inMedia);
}

TEST(IndexStore, GivesBackWhatWasPublishedLast) {
    const TemporaryFolder folder;
    const IndexStore store(folder.Path() / "a" / "b");
    EXPECT_FALSE(store.Find(GuidOf(1)));
    const fs::path place = Publish(store, GuidOf(1), "/media/\xE4.ts", 5);
    EXPECT_EQ(place, folder.Path() / "a" / "b" / (GuidOf(1).ToText() + ".mpgindex"));
    const auto found = IndexStore(folder / "a" / "b").Find(GuidOf(1));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->path, place);
    EXPECT_EQ(found->index.header, MakeIndex(GuidOf(1), 5).header);
    EXPECT_EQ(found->index.records, MakeIndex(GuidOf(1), 5).records);
    EXPECT_FALSE(store.Find(GuidOf(2)));

    Publish(store, GuidOf(1), "/media/\xE4.ts", 6);
    EXPECT_EQ(store.Find(GuidOf(1))->index.records.size(), 6u) << "the later one takes its place";
    Publish(store, GuidOf(2), "/media/b.ts");
    Publish(store, GuidOf(3), "/media/\xE4.ts");
    EXPECT_FALSE(store.Find(GuidOf(1))) << "of older content of the file";
    EXPECT_FALSE(fs::exists(place));
    EXPECT_TRUE(store.Find(GuidOf(2)));
    EXPECT_TRUE(store.Find(GuidOf(3)));
    EXPECT_TRUE(fs::is_empty(store.Folder() / "writing"));
}

TEST(IndexStore, KnowsAMediaFileByItsFactsWithoutOpeningIt) {
    const TemporaryFolder folder;
    const IndexStore store(folder / "store");
    const fs::path path = WriteFile(folder / "media.ts", std::string(1000, 'x'));
    const auto isFound = [&](bool inIsOpened) {
        MediaFile media(path);
        const std::size_t before = OpenDescriptors();
        const auto found = store.Find(media);
        EXPECT_EQ(OpenDescriptors() - before, inIsOpened ? 1u : 0u);
        EXPECT_EQ(media.Identity(), IdentifyMedia(path));
        return found.has_value();
    };
    const auto letFactsSettle = [] { std::this_thread::sleep_for(std::chrono::milliseconds(100)); };
    EXPECT_FALSE(isFound(true));
    Publish(store, IdentifyMedia(path), path);
    for ([[maybe_unused]] const char* round : {"published", "changed back"}) {
        letFactsSettle();
        EXPECT_TRUE(isFound(true)) << "by its content";
        EXPECT_TRUE(isFound(false)) << "by its facts from then on";
        Tamper(path, [](std::string& ioBytes) { ioBytes[500] = 'y'; });
        EXPECT_FALSE(isFound(true)) << "same size, same time of modification";
        Tamper(path, [](std::string& ioBytes) { ioBytes[500] = 'x'; });
    }
}

TEST(IndexStore, FactsAreSettledWhenTheClockOfTheFileSystemHasTicked) {
    using std::chrono::nanoseconds;
    const auto isSettled = [](nanoseconds inAge, bool inHasFractions) {
        const auto second = static_cast<std::uint64_t>(nanoseconds(std::chrono::seconds(1)).count());
        const auto now = static_cast<std::uint64_t>(
            nanoseconds(std::chrono::system_clock::now().time_since_epoch()).count());
        const std::uint64_t changed = now - static_cast<std::uint64_t>(inAge.count());
        return FileFacts{.changed = inHasFractions ? changed | 1 : changed / second * second}.AreSettled();
    };
    EXPECT_FALSE(isSettled(std::chrono::milliseconds(1), true));
    EXPECT_TRUE(isSettled(std::chrono::seconds(1), true));
    EXPECT_FALSE(isSettled(std::chrono::seconds(1), false));
    EXPECT_TRUE(isSettled(std::chrono::seconds(5), false));
    EXPECT_FALSE(isSettled(-std::chrono::hours(1), true)) << "another clock";
}

// What other programs, broken disks and people make of the folder. Every row begins with a sound store.
TEST(IndexStore, DamageMeansThatTheMediaIsIndexedAnew) {
    using Change = void (*)(const fs::path&);
    const std::pair<const char*, Change> ofIndexFile[] = {
        {"torn in its records", [](const fs::path& in) { fs::resize_file(in, fs::file_size(in) - 5); }},
        {"without its last record", [](const fs::path& in) { fs::resize_file(in, fs::file_size(in) - 18); }},
        {"torn in its header", [](const fs::path& in) { fs::resize_file(in, 40); }},
        {"empty", [](const fs::path& in) { fs::resize_file(in, 0); }},
        {"of 3 GB", [](const fs::path& in) { fs::resize_file(in, 3'000'000'000); }},
        {"one bit changed",
         [](const fs::path& in) { Tamper(in, [](std::string& io) { io[88 + 17] ^= 1; }); }},
        {"of another file",
         [](const fs::path& in) {
             const fs::path foreign = in.parent_path() / (GuidOf(2).ToText() + ".mpgindex");
             fs::copy_file(foreign, in, fs::copy_options::overwrite_existing);
         }},
        {"missing", [](const fs::path& in) { fs::remove(in); }},
        {"a folder", [](const fs::path& in) { fs::remove(in), fs::create_directories(in / "x"); }},
    };
    const std::pair<const char*, Change> ofRegistry[] = {
        {"missing", [](const fs::path& in) { fs::remove(in); }},
        {"no database", [](const fs::path& in) { WriteFile(in, std::string(10'000, 'x')); }},
        {"torn", [](const fs::path& in) { fs::resize_file(in, 5000); }},
        {"tables overwritten",
         [](const fs::path& in) {
             Tamper(in, [](std::string& io) { std::fill(io.begin() + 4096, io.end(), 'x'); });
         }},
        {"another release",  // the user version, big-endian
         [](const fs::path& in) { Tamper(in, [](std::string& io) { io[63] = 99; }); }},
        {"other tables",
         [](const fs::path& in) {
             Tamper(in, [](std::string& io) { io.replace(io.find(" hash TEXT"), 5, " hush"); });
         }},
        {"a folder", [](const fs::path& in) { fs::remove(in), fs::create_directories(in / "x"); }},
        {"a folder where one was moved aside",
         [](const fs::path& in) {
             WriteFile(in.native() + ".damaged", "x");
             fs::remove(in), fs::create_directories(in / "x");
         }},
    };
    const auto read = BytesReadByProcess();
    const auto run = [](const char* inName, const char* inOf, Change inChange, bool inIsOfRegistry) {
        SCOPED_TRACE(std::string(inOf) + inName);
        const TemporaryFolder folder;
        const IndexStore store(folder.Path());
        const fs::path index = Publish(store, GuidOf(1), "/media/a.ts");
        Publish(store, GuidOf(2), "/media/b.ts");
        inChange(inIsOfRegistry ? folder / "registry.sqlite3" : index);
        EXPECT_FALSE(store.Find(GuidOf(1)));
        EXPECT_EQ(store.Find(GuidOf(2)).has_value(), !inIsOfRegistry);
        Publish(store, GuidOf(1), "/media/a.ts");
        EXPECT_TRUE(store.Find(GuidOf(1)));
    };
    for (const auto& [name, change] : ofIndexFile) run(name, "index file: ", change, false);
    for (const auto& [name, change] : ofRegistry) run(name, "registry: ", change, true);
    EXPECT_LT(BytesReadByProcess() - read, 10'000'000u) << "nothing of a size that is wrong";
}

TEST(IndexStore, RefusesToPublishAnUnsoundIndex) {
    const TemporaryFolder folder;
    const IndexStore store(folder.Path());
    using Change = void (*)(StoredIndex&);
    const std::pair<const char*, Change> cases[] = {
        {"version", [](StoredIndex& io) { io.header.version = 27; }},
        {"more records than there are", [](StoredIndex& io) { io.header.recordCount = 4; }},
        {"first frame", [](StoredIndex& io) { io.header.firstFrame = 3; }},
        {"last frame", [](StoredIndex& io) { io.header.lastFrame = 3; }},
        {"stream kind", [](StoredIndex& io) { io.header.streamKind = 2; }},
        {"offset beyond the stream", [](StoredIndex& io) { io.records[0].offset = 1001; }},
        {"size above the largest", [](StoredIndex& io) { io.records[2].size = 101; }},
        {"reserved field", [](StoredIndex& io) { io.records[1].reserved = 1; }},
        {"no records", [](StoredIndex& io) { io.records.clear(), io.header.recordCount = 0; }},
        {"failed, with records", [](StoredIndex& io) { io.header.streamKind = Vexmora::kStreamKindFailed; }},
    };
    StoredIndex index;
    const auto publish = [&] {
        auto draft = store.MakeDraft();
        return store.Publish(draft, index.header, index.records, "/media/a.ts");
    };
    for (const auto& [name, change] : cases) {
        index = MakeIndex(GuidOf(1), 3);
        change(index);
        EXPECT_THROW(publish(), Error) << name;
        EXPECT_FALSE(store.Find(GuidOf(1))) << name;
    }
    index = MakeIndex(GuidOf(1), 0);
    index.header.streamKind = Vexmora::kStreamKindFailed;
    EXPECT_NO_THROW(publish()) << "an index of failure";
    EXPECT_TRUE(store.Find(GuidOf(1)));
    EXPECT_TRUE(fs::is_empty(folder / "writing"));
}

TEST(IndexStore, RemovesOnlyWhatKilledWritersLeftLongAgo) {
    const TemporaryFolder folder;
    const IndexStore store(folder.Path());
    const auto now = fs::file_time_type::clock::now();
    const fs::path old = WriteFile(folder.Path() / "writing" / "old.mpgindex", "half");
    fs::last_write_time(old, now - std::chrono::hours(25));
    const fs::path recent = WriteFile(folder.Path() / "writing" / "recent.mpgindex", "half");
    fs::last_write_time(recent, now - std::chrono::hours(23));
    fs::last_write_time(Publish(store, GuidOf(1), "/media/a.ts"), now - std::chrono::hours(9999));
    const IndexStore restarted(folder.Path());
    EXPECT_FALSE(fs::exists(old));
    EXPECT_TRUE(fs::exists(recent));
    EXPECT_TRUE(restarted.Find(GuidOf(1)));
}

TEST(IndexStore, SaysWhichFolderCannotBeUsed) {
    const TemporaryFolder folder;
    const fs::path file = WriteFile(folder / "file", "");
    try {
        const IndexStore store(file / "indexes");
        ADD_FAILURE();
    } catch (const Error& error) {
        EXPECT_EQ(error.Path(), file / "indexes");
        EXPECT_NE(std::string(error.what()).find("choose another index folder"), std::string::npos);
    }
    fs::create_directory(folder / "store");
    const IndexStore store(folder / "store");
    fs::remove_all(folder / "store");
    WriteFile(folder / "store", "");
    EXPECT_THROW(store.MakeDraft(), Error);
}

TEST(IndexStore, LivesInTheUsersCacheFolder) {
    ::setenv("HOME", "/home/somebody", 1);
    ::unsetenv("XDG_CACHE_HOME");
    EXPECT_EQ(IndexStore::DefaultFolder(), "/home/somebody/.cache/vexmora");
    ::setenv("XDG_CACHE_HOME", "relative", 1);
    EXPECT_EQ(IndexStore::DefaultFolder(), "/home/somebody/.cache/vexmora");
    ::setenv("XDG_CACHE_HOME", "/var/cache/me", 1);
    EXPECT_EQ(IndexStore::DefaultFolder(), "/var/cache/me/vexmora");
    ::unsetenv("XDG_CACHE_HOME");
    ::unsetenv("HOME");
    EXPECT_THROW(IndexStore::DefaultFolder(), Error);
}

// Processes that start together, each publishing the same indexes and one of its own.
void PublishInProcesses(const fs::path& inFolder) {
    constexpr std::uint8_t kProcesses = 4;
    constexpr std::uint8_t kShared = 5;
    int gate[2];
    ASSERT_EQ(::pipe(gate), 0);
    std::vector<pid_t> processes;
    for (std::uint8_t process = 0; process < kProcesses; ++process) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            int result = 1;
            try {
                char go = 0;
                ::close(gate[1]);
                static_cast<void>(!::read(gate[0], &go, 1));  // returns when the parent closes its end
                const IndexStore store(inFolder);
                for (std::uint8_t shared = 0; shared < kShared; ++shared) {
                    Publish(store, GuidOf(shared), "/media/" + std::to_string(shared));
                }
                const auto own = static_cast<std::uint8_t>(100 + process);
                Publish(store, GuidOf(own), "/media/" + std::to_string(own));
                result = store.Find(GuidOf(own)) ? 0 : 2;
            } catch (const std::exception& error) {
                std::fprintf(stderr, "process %d: %s\n", process, error.what());
            }
            ::_exit(result);
        }
        processes.push_back(child);
    }
    ::close(gate[0]);
    ::close(gate[1]);
    for (const pid_t process : processes) {
        int status = -1;
        ASSERT_EQ(::waitpid(process, &status, 0), process);
        EXPECT_EQ(status, 0);
    }
    const IndexStore store(inFolder);
    for (std::uint8_t shared = 0; shared < kShared; ++shared) EXPECT_TRUE(store.Find(GuidOf(shared)));
    for (std::uint8_t process = 0; process < kProcesses; ++process) {
        EXPECT_TRUE(store.Find(GuidOf(static_cast<std::uint8_t>(100 + process))));
    }
    EXPECT_TRUE(fs::is_empty(inFolder / "writing"));
}

TEST(IndexStore, ProcessesMakeOrRepairAndFillOneRegistryAtOnce) {
    for (const std::string& damaged : {std::string(), std::string(8192, 'x')}) {
        const TemporaryFolder folder;
        if (!damaged.empty()) WriteFile(folder / "registry.sqlite3", damaged);
        PublishInProcesses(folder.Path());
        ASSERT_EQ(fs::exists(folder / "registry.sqlite3.damaged"), !damaged.empty());
        EXPECT_TRUE(damaged.empty() || ReadFile(folder / "registry.sqlite3.damaged") == damaged)
            << "nobody moved the new one aside";
    }
}

}  // namespace
}  // namespace VexmoraHost
