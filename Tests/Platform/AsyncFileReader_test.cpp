// The asynchronous reader: what it reads, and that every accepted request is completed once, also when
// closing.
#include "Orvet/AsyncFileReader.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <future>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Platform/PlatformFolder.h"

// The system may give less than it was asked for: here never more than three bytes.
#pragma GCC visibility push(default)
extern "C" ssize_t pread(int inDescriptor, void* outBytes, size_t inCount, off_t inAt) {
    return syscall(SYS_pread64, inDescriptor, outBytes, std::min<size_t>(inCount, 3), inAt);
}
#pragma GCC visibility pop

using Orvet::AsyncFileReader;
using Orvet::AsyncReadRequest;
using Orvet::File;
using Orvet::FileAccess;

namespace {

struct Outcome {
    AsyncReadRequest request;
    std::uint32_t bytesRead;
    std::int32_t status;
};

// The first user value of a request points to where its outcome goes; only the reader's thread appends.
void Record(AsyncFileReader&, const AsyncReadRequest& inRequest, std::uint32_t inBytes,
            std::int32_t inStatus) {
    auto* outcomes = reinterpret_cast<std::vector<Outcome>*>(inRequest.userValues[0]);
    outcomes->push_back({inRequest, inBytes, inStatus});
}

template <typename T>
std::uint64_t UserValue(T& inObject) {
    return reinterpret_cast<std::uint64_t>(&inObject);
}

std::ptrdiff_t ThreadCount() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

TEST(AsyncFileReader, ReadsInOrderAndOnlyThenHasAThread) {
    const PlatformFolder folder;
    File file;
    ASSERT_EQ(0, file.Open(folder.Write("a", "0123456789"), FileAccess::Read));
    std::filesystem::remove(folder.Native("a"));
    folder.Write("a", "another file now");
    const std::ptrdiff_t threadsBefore = ThreadCount();
    AsyncFileReader reader;
    ASSERT_EQ(0, AsyncFileReader::Open(file, reader));
    EXPECT_EQ(threadsBefore, ThreadCount());

    std::vector<Outcome> outcomes;
    std::promise<void> last;
    char buffers[4][4] = {};
    const std::uint64_t offsets[4] = {2, 8, 100, ~std::uint64_t{0}};
    for (std::uint64_t index = 0; index < 4; ++index) {
        ASSERT_EQ(0, reader.QueueReadRequest(
                         {offsets[index], 4, buffers[index], Record, {UserValue(outcomes), index, ~index}}));
    }
    const auto tell = [](AsyncFileReader&, const AsyncReadRequest& inRequest, std::uint32_t, std::int32_t) {
        reinterpret_cast<std::promise<void>*>(inRequest.userValues[2])->set_value();
        throw std::runtime_error("a completion's exception ends nothing");
    };
    ASSERT_EQ(0, reader.QueueReadRequest({0, 0, nullptr, tell, {0, 0, UserValue(last)}}));
    last.get_future().wait();
    reader.Close();

    ASSERT_EQ(4U, outcomes.size());
    const std::uint32_t bytesRead[4] = {4, 2, 0, 0};
    const std::int32_t statuses[4] = {0, 0, 0, -EINVAL};
    for (std::uint64_t index = 0; index < 4; ++index) {
        EXPECT_EQ(bytesRead[index], outcomes[index].bytesRead);
        EXPECT_EQ(statuses[index], outcomes[index].status);
        EXPECT_EQ(offsets[index], outcomes[index].request.offset);
        EXPECT_EQ(buffers[index], outcomes[index].request.buffer);
        EXPECT_EQ(index, outcomes[index].request.userValues[1]);
        EXPECT_EQ(~index, outcomes[index].request.userValues[2]);
    }
    EXPECT_EQ(0, std::memcmp(buffers[0], "2345", 4));
    EXPECT_EQ(0, std::memcmp(buffers[1], "89\0\0", 4));
}

// Holds the reader's thread in a completion until Close has begun, which shows in a request being refused.
void QueueUntilRefused(AsyncFileReader& ioReader, const AsyncReadRequest& inRequest, std::uint32_t,
                       std::int32_t inStatus) {
    EXPECT_EQ(0, inStatus);
    AsyncReadRequest request = inRequest;
    request.completion = Record;
    auto& accepted = *reinterpret_cast<std::size_t*>(inRequest.userValues[1]);
    while (ioReader.QueueReadRequest(request) == 0) {
        if (++accepted == 1) reinterpret_cast<std::promise<void>*>(inRequest.userValues[2])->set_value();
        std::this_thread::yield();  // or Close may wait long for the lock
    }
}

TEST(AsyncFileReader, CloseCompletesWhatIsQueuedAsCancelled) {
    const PlatformFolder folder;
    File file;
    ASSERT_EQ(0, file.Open(folder.Write("a", "0123456789"), FileAccess::Read));
    AsyncFileReader reader;
    for (int round = 0; round < 3; ++round) {
        ASSERT_EQ(0, AsyncFileReader::Open(file, reader));
        std::vector<Outcome> outcomes;
        std::size_t accepted = 0;
        std::promise<void> begun;
        char byte = 0;
        ASSERT_EQ(0, reader.QueueReadRequest({0,
                                              1,
                                              &byte,
                                              QueueUntilRefused,
                                              {UserValue(outcomes), UserValue(accepted), UserValue(begun)}}));
        begun.get_future().wait();
        reader.Close();
        EXPECT_EQ(accepted, outcomes.size());
        for (const Outcome& outcome : outcomes) {
            ASSERT_EQ(-ECANCELED, outcome.status);
            ASSERT_EQ(0U, outcome.bytesRead);
        }
        EXPECT_EQ(-EBADF, reader.QueueReadRequest({0, 1, &byte, Record, {}}));
    }
}

TEST(AsyncFileReader, RefusesWhatCannotBeRead) {
    const PlatformFolder folder;
    File file;
    ASSERT_EQ(0, file.Open(folder.Write("a", "x"), FileAccess::Read));
    AsyncFileReader reader;
    EXPECT_EQ(-EBADF, reader.QueueReadRequest({0, 0, nullptr, Record, {}}));
    ASSERT_EQ(0, AsyncFileReader::Open(file, reader));
    EXPECT_EQ(-EINVAL, reader.QueueReadRequest({}));
    EXPECT_EQ(-EBADF, AsyncFileReader::Open(File(), reader));
    EXPECT_EQ(-EBADF, reader.QueueReadRequest({0, 0, nullptr, Record, {}})) << "the earlier file is let go";
}

}  // namespace
