// The run, and what each failure must come to.
#include "Faults/WholeRun.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <stdexcept>
#include <string_view>

namespace Vexmora::Test {

std::size_t DigestOf(const void* inBytes, std::size_t inCount) {
    return std::hash<std::string_view>()({static_cast<const char*>(inBytes), inCount});
}

RunResult WholeRun::Run(const FaultPlan& inPlan, Length inLength) {
    mResult = {};
    FaultInjection injection(inPlan);
    mInjection = &injection;
    Until(Phase::Startup, Vexmora_Ok, [] {
        Vexmora_Startup();
        return Vexmora_Ok;
    });
    Open();
    Close();
    OpenIndexed();
    if (inLength == Length::Whole) {
        DecodeFile();
        Close();
        for (Scale scale : kScales) DecodeFromBuffer(scale);
        IndexBuffers();
    } else {
        Close();
    }
    Vexmora_Shutdown();
    mResult.faults = injection.Faults();
    mInjection = nullptr;
    return std::move(mResult);
}

template <typename Body>
std::int32_t WholeRun::Step(Phase inPhase, Body inBody) {
    constexpr std::size_t kMostSteps = 2'000;
    if (mResult.steps.size() == kMostSteps) {
        const auto [phase, status] = mResult.steps.back();
        throw std::runtime_error("status " + std::to_string(status) + " for ever in phase " +
                                 std::to_string(static_cast<int>(phase)));
    }
    mInjection->SetStep(static_cast<std::uint32_t>(mResult.steps.size()));
    std::int32_t status = kThrown;
    try {
        const LibraryCode library;
        status = inBody();
    } catch (const std::bad_alloc&) {
    }
    mResult.steps.push_back({inPhase, status});
    return status;
}

template <typename Body>
void WholeRun::Until(Phase inPhase, std::int32_t inWanted, Body inBody) {
    while (Step(inPhase, inBody) != inWanted) {
    }
}

std::int32_t WholeRun::Open() {
    mHandle = nullptr;
    const HostServices services = mHost.Services();
    const std::int32_t status =
        Step(Phase::Open, [&] { return Vexmora_OpenFile(mPath, services, &mHandle, &mHeader, false); });
    EXPECT_EQ(mHandle != nullptr, status == Vexmora_Ok || status == Vexmora_NotFinished);
    return status;
}

void WholeRun::OpenIndexed() {
    for (;;) {
        const std::int32_t status = Open();
        if (status == Vexmora_Ok) break;
        if (status != Vexmora_NotFinished) continue;
        float progress = 0;
        while (Step(Phase::Index, [&] { return Vexmora_IndexFile(mHandle, &progress, false); }) ==
               Vexmora_NotFinished) {
        }
        Close();
    }
    mResult.digests.push_back(DigestOf(&mHeader, sizeof mHeader));
}

void WholeRun::DecodeFile() {
    FileInfo info{};
    Until(Phase::Query, Vexmora_Ok, [&] { return Vexmora_GetFileInfo(mHandle, &info); });
    EXPECT_EQ(info.frameCount, kPaddedPictures);
    EXPECT_EQ(Vexmora_GetLastGoodFrame(mHandle, 1000), std::int32_t{kPaddedPictures} - 1);
    std::uint32_t luma = 0;
    std::uint32_t chroma = 0;
    Until(Phase::Query, Vexmora_Ok, [&] { return Vexmora_GetFrameSizes(mHandle, &luma, &chroma); });
    mBlank = {luma, chroma};
    for (Scale scale : kScales) DecodeAt(scale, false);
    DecodeAt(Scale::Full, true);
}

void WholeRun::DecodeAt(Scale inScale, bool inBackwards) {
    mFrames.clear();
    for (std::int32_t i = 0; i < std::int32_t{kPaddedPictures}; ++i) {
        Note(Frame(inBackwards ? std::int32_t{kPaddedPictures} - 1 - i : i, inScale));
    }
}

// With all that it is predicted from.
Picture420& WholeRun::Frame(std::int32_t inFrame, Scale inScale) {
    if (const auto found = mFrames.find(inFrame); found != mFrames.end()) return found->second;
    constexpr std::int32_t kNone = 0x7FFFFFFF;
    std::int32_t past = kNone;
    std::int32_t future = kNone;
    Until(Phase::Query, Vexmora_Ok,
          [&] { return Vexmora_GetFrameDependancies(mHandle, inFrame, &past, &future); });
    const auto planesOf = [&](std::int32_t in) {
        return in == kNone ? FramePlanes{} : Frame(in, inScale).Planes();
    };
    const FramePlanes forward = planesOf(past);
    const FramePlanes backward = planesOf(future);
    Picture420& picture = mFrames.emplace(inFrame, mBlank).first->second;
    const FramePlanes output = picture.Planes();
    Until(Phase::Decode, Vexmora_Ok, [&] {
        return Vexmora_GetFrame(mHandle, inFrame, &forward, &backward, &output, ModeOf(inScale),
                                SubModeOf(inScale));
    });
    return picture;
}

void WholeRun::DecodeFromBuffer(Scale inScale) {
    constexpr std::uint32_t kCapacity = 65536;
    const HostServices services = mHost.Services();
    std::uint8_t* buffer = nullptr;
    Until(Phase::OpenBuffer, Vexmora_Ok,
          [&] { return Vexmora_OpenBufferInstance(services, kCapacity, &mHandle, &buffer); });
    mFrames.clear();
    for (const CodedUnit& unit : mStream.pictures.units) {
        const bool isFirst = unit.frame == 0;
        const Bytes data = isFirst ? Join({mStream.pictures.headers, unit.bytes}) : unit.bytes;
        Picture420 picture = mBlank;
        const auto planesOf = [&](std::size_t in) {
            return in == unit.frame ? picture.Planes() : mFrames.at(static_cast<std::int32_t>(in)).Planes();
        };
        const FramePlanes forward = planesOf(unit.past);
        const FramePlanes backward = planesOf(unit.future);
        const FramePlanes output = picture.Planes();
        Until(Phase::DecodeBuffer, Vexmora_Ok, [&] {
            std::memcpy(buffer, data.data(), data.size());
            return Vexmora_GetFrameFromBuffer(mHandle, static_cast<std::uint32_t>(data.size()),
                                              unit.picture_coding_type, &forward, &backward, &output,
                                              ModeOf(inScale), SubModeOf(inScale));
        });
        Note(picture);
        mFrames.emplace(static_cast<std::int32_t>(unit.frame), std::move(picture));
    }
    Close();
}

// In two pieces; a scan that has thrown cannot go on, so the indexer is made anew.
void WholeRun::IndexBuffers() {
    const Bytes& stream = mStream.bytes;
    const std::size_t half = stream.size() / 2;
    IndexHeader header{};
    std::vector<AudioAlignmentRun> plan;
    std::vector<FrameRecord> records;
    bool isDone = false;
    while (!isDone) {
        Vexmora_IndexerHandle indexer = nullptr;
        Until(Phase::MakeIndexer, Vexmora_Ok,
              [&] { return Vexmora_CreateIndexerFromFirstBuffer(stream.data(), &indexer); });
        isDone =
            Step(Phase::Scan, [&] { return Vexmora_BufferIndexerScan(indexer, stream.data(), half, 0); }) ==
                Vexmora_Ok &&
            Step(Phase::Scan,
                 [&] {
                     return Vexmora_BufferIndexerScan(indexer, stream.data() + half, stream.size() - half,
                                                      half);
                 }) == Vexmora_Ok &&
            Step(Phase::Scan, [&] {
                return Vexmora_BufferIndexerDone(indexer, stream.size(), &header, &plan, &records);
            }) == Vexmora_Ok;
        EXPECT_EQ(Vexmora_BufferIndexerDestroy(&indexer), Vexmora_Ok);
    }
    mResult.digests.push_back(DigestOf(records.data(), records.size() * sizeof(FrameRecord)));
}

void WholeRun::Close() {
    mFrames.clear();
    EXPECT_EQ(Step(Phase::Close, [&] { return Vexmora_CloseFile(mHandle); }), Vexmora_Ok);
    mHandle = nullptr;
}

void WholeRun::Note(const Picture420& inPicture) {
    for (const auto* plane : {&inPicture.luma, &inPicture.cb, &inPicture.cr}) {
        mResult.digests.push_back(DigestOf(plane->data(), plane->size()));
    }
}

namespace {

std::vector<std::int32_t> AfterFileFault(const InjectedFault& inFault, Phase inPhase) {
    if (!inFault.isOnCaller) return {kAsEver};  // a read-ahead
    if (inFault.concernsIndexFile) {
        // Not found; on creation, made under another name.
        return {inPhase == Phase::Open ? std::int32_t{Vexmora_NotFinished} : kAsEver};
    }
    switch (inPhase) {
        case Phase::Open:
            // Unless there is an index, the type of the media is looked at beforehand; an index whose media
            // cannot be examined is none.
            return {Vexmora_Failure, Vexmora_Unsupported, Vexmora_NotFinished};
        case Phase::Index:
            return {Vexmora_Failure};
        default:
            return {Vexmora_NoSequenceHeader};
    }
}

std::vector<std::int32_t> AfterHeapFault(Phase inPhase) {
    switch (inPhase) {
        case Phase::Startup:
        case Phase::Scan:
            return {kThrown};
        case Phase::Decode:
        case Phase::DecodeBuffer:
            return {Vexmora_Failure, kAsEver};  // helping threads and reading ahead can be done without
        default:
            return {Vexmora_Failure};
    }
}

}  // namespace

std::vector<std::int32_t> StatusesAfter(const InjectedFault& inFault, Phase inPhase, bool inHasCache) {
    switch (inFault.call) {
        case Call::PictureMemory:
        case Call::PictureAddress:
            return {Vexmora_Failure};
        case Call::BlockMemory:
        case Call::BlockAddress:
            if (inPhase != Phase::Decode) return {Vexmora_Failure};
            if (!inHasCache) return {Vexmora_NoSequenceHeader};
            return {Vexmora_NoSequenceHeader, kAsEver};  // the block may be meant for later
        case Call::CacheFind:
        case Call::CacheAdd:
        case Call::FindIndex:
        case Call::ThreadStart:
            return {kAsEver};
        case Call::MediaIdentity:
            return {inPhase == Phase::Index ? Vexmora_IndexNotWritten : Vexmora_NotFinished};
        case Call::IndexFolder:
            return {inPhase == Phase::Index ? std::int32_t{Vexmora_IndexNotWritten} : kAsEver};
        case Call::RegisterIndex:
        case Call::FileWrite:
            return {Vexmora_IndexNotWritten};
        case Call::FileOpen:
        case Call::FileFacts:
        case Call::FileSeek:
        case Call::FileRead:
            return AfterFileFault(inFault, inPhase);
        case Call::Heap:
            return AfterHeapFault(inPhase);
        case Call::FileFlush:
            break;  // not called by the library
    }
    return {};
}

}  // namespace Vexmora::Test
