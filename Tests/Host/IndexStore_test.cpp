// An index file is used only if it is listed and whole; the list survives damage and several processes.
#include "VexmoraHost/IndexStore.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
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

IndexStore::Found Publish(const IndexStore& inStore, const Guid& inIdentity, const fs::path& inMedia,
                          std::uint32_t inRecordCount = 3) {
    const fs::path folder = inStore.MakeWritingFolder();
    const fs::path written =
        WriteFile(folder / "media.ts.mpgindex", MakeIndexFile(inIdentity, inRecordCount));
    auto found = inStore.Publish(inIdentity, written, inMedia);
    fs::remove(folder);
    return found;
}

TEST(IndexStore, GivesBackWhatWasPublished) {
    const TemporaryFolder folder;
    const IndexStore store(folder / "a" / "b");
    EXPECT_FALSE(store.Find(GuidOf(1)));
    const auto published = Publish(store, GuidOf(1), "/media/\xE4.ts", 5);
    EXPECT_EQ(published.path, folder / "a" / "b" / (GuidOf(1).ToText() + ".mpgindex"));
    const auto found = IndexStore(folder / "a" / "b").Find(GuidOf(1));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->path, published.path);
    EXPECT_EQ(found->index.header.recordCount, 5u);
    ASSERT_EQ(found->index.records.size(), 5u);
    EXPECT_EQ(found->index.records[4].offset, 40u);
    EXPECT_FALSE(store.Find(GuidOf(2)));

    Publish(store, GuidOf(1), "/media/\xE4.ts", 6);
    EXPECT_EQ(store.Find(GuidOf(1))->index.records.size(), 6u) << "the later one takes its place";
    EXPECT_TRUE(fs::is_empty(store.Folder() / "writing"));
}

TEST(IndexStore, ForgetsTheIndexOfOlderContentOfAFile) {
    const TemporaryFolder folder;
    const IndexStore store(folder.Path());
    const auto old = Publish(store, GuidOf(1), "/media/a.ts");
    Publish(store, GuidOf(2), "/media/b.ts");
    Publish(store, GuidOf(3), "/media/a.ts");
    EXPECT_FALSE(store.Find(GuidOf(1)));
    EXPECT_FALSE(fs::exists(old.path));
    EXPECT_TRUE(store.Find(GuidOf(2)));
    EXPECT_TRUE(store.Find(GuidOf(3)));
}

TEST(IndexStore, DoesNotFindTornForeignOrMissingFiles) {
    const TemporaryFolder folder;
    const IndexStore store(folder.Path());
    const fs::path path = Publish(store, GuidOf(1), "/media/a.ts").path;
    const std::string whole = ReadFile(path);
    const std::string foreign = ReadFile(Publish(store, GuidOf(2), "/media/b.ts").path);
    std::string changed = whole;
    changed[88 + 17] ^= 1;  // a reference of the first record
    const std::pair<const char*, std::string> cases[] = {
        {"torn in its records", whole.substr(0, whole.size() - 5)},
        {"torn in its header", whole.substr(0, 40)},
        {"empty", ""},
        {"longer", whole + '\0'},
        {"one bit changed", changed},
        {"of another file", foreign},
    };
    for (const auto& [name, bytes] : cases) {
        WriteFile(path, bytes);
        EXPECT_FALSE(store.Find(GuidOf(1))) << name;
    }
    WriteFile(path, whole);
    EXPECT_TRUE(store.Find(GuidOf(1)));
    fs::remove(path);
    EXPECT_FALSE(store.Find(GuidOf(1)));
    fs::create_directory(path);
    EXPECT_FALSE(store.Find(GuidOf(1)));
    EXPECT_TRUE(store.Find(GuidOf(2)));
}

TEST(IndexStore, RefusesToPublishWhatIsNoWholeIndexOfTheMedia) {
    const TemporaryFolder folder;
    const IndexStore store(folder.Path());
    const std::string good = MakeIndexFile(GuidOf(1), 3);
    const auto with = [&good](std::size_t inAt, char inByte) {
        std::string bytes = good;
        bytes[inAt] = inByte;
        return bytes;
    };
    const std::pair<const char*, std::string> cases[] = {
        {"other media", MakeIndexFile(GuidOf(2), 3)},
        {"torn", good.substr(0, good.size() - 1)},
        {"version", with(16, 27)},
        {"more records than there are", with(20, 4)},
        {"first frame", with(24, 3)},
        {"last frame", with(28, 3)},
        {"stream kind", with(40, 2)},
        {"offset beyond the stream", with(88 + 7, 1)},
        {"size above the largest", with(88 + 11, 1)},
        {"reserved field", with(88 + 14, 1)},
        {"no records", MakeIndexFile(GuidOf(1), 0)},
    };
    for (const auto& [name, bytes] : cases) {
        const fs::path written = WriteFile(folder / "written.mpgindex", bytes);
        EXPECT_THROW(static_cast<void>(store.Publish(GuidOf(1), written, "/media/a.ts")), Error) << name;
        EXPECT_FALSE(store.Find(GuidOf(1))) << name;
    }
    std::string failed = MakeIndexFile(GuidOf(1), 3).substr(0, 88);
    failed[20] = 0;
    failed[40] = 0;
    failed[43] = static_cast<char>(0x80);
    const fs::path written = WriteFile(folder / "written.mpgindex", failed);
    EXPECT_NO_THROW(static_cast<void>(store.Publish(GuidOf(1), written, "/media/a.ts")))
        << "an index of failure";
}

TEST(IndexStore, RemovesOnlyWhatKilledWritersLeftLongAgo) {
    const TemporaryFolder folder;
    const IndexStore store(folder.Path());
    const auto now = fs::file_time_type::clock::now();
    const fs::path old = store.MakeWritingFolder();
    WriteFile(old / "half.mpgindex", "half");
    fs::last_write_time(old, now - std::chrono::hours(25));
    const fs::path recent = store.MakeWritingFolder();
    fs::last_write_time(recent, now - std::chrono::hours(23));
    const auto kept = Publish(store, GuidOf(1), "/media/a.ts");
    fs::last_write_time(kept.path, now - std::chrono::hours(9999));
    const IndexStore restarted(folder.Path());
    EXPECT_FALSE(fs::exists(old));
    EXPECT_TRUE(fs::exists(recent));
    EXPECT_TRUE(restarted.Find(GuidOf(1)));
}

TEST(IndexStore, DamagedRegistryIsMovedAsideAndBegunAnew) {
    using Change = void (*)(std::string&);
    const std::pair<const char*, Change> cases[] = {
        {"no database", [](std::string& ioBytes) { ioBytes.assign(10'000, 'x'); }},
        {"torn", [](std::string& ioBytes) { ioBytes.resize(5000); }},
        {"tables overwritten",
         [](std::string& ioBytes) { std::fill(ioBytes.begin() + 4096, ioBytes.end(), 'x'); }},
        {"another release", [](std::string& ioBytes) { ioBytes[63] = 99; }},  // the user version, big-endian
        {"other tables",
         [](std::string& ioBytes) { ioBytes.replace(ioBytes.find(" hash TEXT"), 5, " hush"); }},
    };
    for (const auto& [name, change] : cases) {
        SCOPED_TRACE(name);
        const TemporaryFolder folder;
        const IndexStore store(folder.Path());
        Publish(store, GuidOf(1), "/media/a.ts");
        Tamper(folder / "registry.sqlite3", change);
        EXPECT_FALSE(store.Find(GuidOf(1)));
        EXPECT_TRUE(fs::exists(folder / "registry.sqlite3.damaged"));
        Publish(store, GuidOf(2), "/media/b.ts");
        EXPECT_TRUE(store.Find(GuidOf(2)));
    }
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
    EXPECT_THROW(store.CheckWritable(), Error);
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

TEST(IndexStore, ProcessesMakeAndFillOneRegistryAtOnce) {
    const TemporaryFolder folder;
    PublishInProcesses(folder.Path());
    EXPECT_FALSE(fs::exists(folder / "registry.sqlite3.damaged"));
}

TEST(IndexStore, ProcessesRepairOneDamagedRegistryAtOnce) {
    const TemporaryFolder folder;
    WriteFile(folder / "registry.sqlite3", std::string(8192, 'x'));
    PublishInProcesses(folder.Path());
    EXPECT_EQ(ReadFile(folder / "registry.sqlite3.damaged"), std::string(8192, 'x'))
        << "nobody moved the new one aside";
}

}  // namespace
}  // namespace VexmoraHost
