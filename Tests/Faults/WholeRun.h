// A whole life of the library over one video: start-up, index, open, query, decode, close, from a file and
// from buffers. Whatever fails is tried again, as a patient host would.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "Decoding/PaddedStreams.h"
#include "Faults/FaultPlan.h"
#include "Faults/FaultyHost.h"

namespace Vexmora::Test {

enum class Phase { Startup, Open, Index, Query, Decode, OpenBuffer, DecodeBuffer, MakeIndexer, Scan, Close };

/// What a step returns when an exception came out of it, beside every status.
inline constexpr std::int32_t kThrown = 100;

struct RunStep {
    Phase phase;
    std::int32_t status;
    friend bool operator==(const RunStep&, const RunStep&) = default;
};

std::size_t DigestOf(const void* inBytes, std::size_t inCount);

struct RunResult {
    std::vector<RunStep> steps;
    /// Of every picture and index, in the order in which they were made.
    std::vector<std::size_t> digests;
    std::vector<InjectedFault> faults;
};

class WholeRun {
  public:
    /// How far to go: all the way, or from start-up to the end of indexing.
    enum class Length { Whole, UpToIndex };

    WholeRun(FaultyHost& ioHost, const PaddedStream& inStream, const std::filesystem::path& inPath)
        : mHost(ioHost), mStream(inStream), mPath(ToUtf16(inPath)) {}

    RunResult Run(const FaultPlan& inPlan, Length inLength = Length::Whole);

  private:
    template <typename Body>
    std::int32_t Step(Phase inPhase, Body inBody);
    template <typename Body>
    void Until(Phase inPhase, std::int32_t inWanted, Body inBody);
    std::int32_t Open();
    void OpenIndexed();
    void DecodeFile();
    void DecodeAt(Scale inScale, bool inBackwards);
    Picture420& Frame(std::int32_t inFrame, Scale inScale);
    void DecodeFromBuffer(Scale inScale);
    void IndexBuffers();
    void Close();
    void Note(const Picture420& inPicture);

    FaultyHost& mHost;
    const PaddedStream& mStream;
    const UTF16String mPath;
    FaultInjection* mInjection = nullptr;
    RunResult mResult;
    Vexmora_Handle mHandle = nullptr;
    IndexHeader mHeader{};
    Picture420 mBlank{0, 0};  // of the size that the file's pictures have
    std::map<std::int32_t, Picture420> mFrames;
};

/// What a call may return in a phase when one of the calls that it makes fails. kAsEver: as if nothing had
/// failed.
inline constexpr std::int32_t kAsEver = 101;
std::vector<std::int32_t> StatusesAfter(const InjectedFault& inFault, Phase inPhase, bool inHasCache);

}  // namespace Vexmora::Test
