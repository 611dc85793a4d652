// The packet walk over a program stream.
#include "Indexer/Indexer_ProgramStream.h"

#include <algorithm>
#include <cstring>

#include "mpeg_system/PesHeader.h"
#include "mpeg_system/StartCodes.h"
#include "primitives/StartCodeSearch.h"

namespace Vexmora {
namespace {

constexpr std::uint64_t kPackHeaderSize = 14;
constexpr std::uint64_t kPacketPrefixSize = 6;
// The stream entries of a system header: 3 bytes each, the first of them the stream id.
constexpr std::uint64_t kSystemHeaderEntries = 12;
constexpr std::uint64_t kSystemHeaderEntrySize = 3;

bool IsPacketStart(const std::uint8_t* inBytes) {
    return IsStartCode(inBytes) && StartCodeAt(inBytes) >= kProgramEndCode;
}

std::uint64_t PacketLength(const std::uint8_t* inHeader) {
    switch (StartCodeAt(inHeader)) {
        case kProgramEndCode:
            return kPackHeaderSize;
        case kPackStartCode:
            return kPackHeaderSize + (inHeader[13] & 7u);  // pack_stuffing_length
        default:
            return kPacketPrefixSize + (std::uint64_t{inHeader[4]} << 8 | inHeader[5]);
    }
}

}  // namespace

bool ProgramStreamIndexer::ScanBuffer(const std::uint8_t* inBuffer, std::uint64_t inSize,
                                      std::uint64_t inPosition) {
    Input input{inBuffer, inSize, inPosition};
    while (input.size > 0 && !mState.failed) {
        const bool isCut =
            mParseState == ParseState::PacketStart && (mHeaderFill > 0 || input.size < kHeaderBytes);
        if (isCut) {
            AssembleHeader(input);
        } else {
            RunState(input);
        }
    }
    return !mState.failed;
}

// Completes the start of a packet from the input and walks it. What is left of it when a short packet ends
// within stays for the next packet.
void ProgramStreamIndexer::AssembleHeader(Input& ioInput) {
    if (mHeaderFill == 0) mHeaderPosition = ioInput.position;
    const std::size_t count = std::min(kHeaderBytes - mHeaderFill, ioInput.size);
    std::memcpy(mHeader.data() + mHeaderFill, ioInput.bytes, count);
    mHeaderFill += count;
    ioInput.Advance(count);
    if (mHeaderFill < kHeaderBytes) return;

    const std::array<std::uint8_t, kHeaderBytes> assembled = mHeader;
    Input header{assembled.data(), assembled.size(), mHeaderPosition};
    mHeaderFill = 0;
    do {
        RunState(header);
    } while (header.size > 0 && mParseState != ParseState::PacketStart && !mState.failed);
    std::memcpy(mHeader.data(), header.bytes, header.size);
    mHeaderFill = header.size;
    mHeaderPosition = header.position;
}

// One step of the walk; with a packet start there are kHeaderBytes in the input.
void ProgramStreamIndexer::RunState(Input& ioInput) {
    switch (mParseState) {
        case ParseState::PacketStart:
            BeginPacket(ioInput);
            break;
        case ParseState::VideoPacket:
            ConsumeVideoPacket(ioInput);
            break;
        case ParseState::OtherPacket:
            ConsumeOtherPacket(ioInput);
            break;
        case ParseState::Search:
            Search(ioInput);
            break;
    }
}

// Classifies the packet. It is consumed from its first byte on by the state that follows.
void ProgramStreamIndexer::BeginPacket(Input& ioInput) {
    const std::uint8_t* header = ioInput.bytes;
    if (!IsPacketStart(header)) {
        BeginSearch();
        ioInput.Advance(1);
        return;
    }
    const std::uint32_t code = StartCodeAt(header);
    mPacketLength = mPacketRemaining = PacketLength(header);
    mIsReadingSystemHeader = false;
    const auto pts = ReadPts({header, std::min<std::uint64_t>(mPacketLength, kHeaderBytes)});
    if (IsVideoStreamCode(code)) {
        if (code != kVideoStreamCode) mState.failed = true;
        if (pts) mState.pendingPts = *pts;
        mHeaderSkipRemaining = std::min<std::uint64_t>(PesHeaderSize(header), mPacketLength);
        mPayloadLength = mPacketLength - mHeaderSkipRemaining;
        mVideoPacketPosition = ioInput.position;
        mParseState = ParseState::VideoPacket;
        return;
    }
    if (code == kSystemHeaderStartCode && !mSystemHeaderSeen) BeginSystemHeader(header);
    const bool isAudio = code == kAudioStreamCode || (code == kPrivateStream1Code && mAudioInPrivateStream1);
    if (isAudio && pts) mState.audioPts.push_back(*pts);
    mParseState = ParseState::OtherPacket;
}

// The first system header tells whether the only audio stream travels in private stream 1.
void ProgramStreamIndexer::BeginSystemHeader(const std::uint8_t* inHeader) {
    mSystemHeaderSeen = true;
    const unsigned audio_bound = inHeader[9] >> 2;
    mIsReadingSystemHeader = audio_bound == 1;
}

void ProgramStreamIndexer::ConsumeVideoPacket(Input& ioInput) {
    const std::size_t skipped = std::min<std::uint64_t>(mHeaderSkipRemaining, ioInput.size);
    mHeaderSkipRemaining -= skipped;
    mPacketRemaining -= skipped;
    ioInput.Advance(skipped);

    const std::size_t count = std::min<std::uint64_t>(mPacketRemaining, ioInput.size);
    if (count > 0) {
        FeedVideo({ioInput.bytes,
                   count,
                   {ioInput.position, mVideoPacketPosition},
                   mPayloadLength,
                   mPacketRemaining == mPayloadLength});
        mPacketRemaining -= count;
        ioInput.Advance(count);
    }
    if (mPacketRemaining == 0) mParseState = ParseState::PacketStart;
}

void ProgramStreamIndexer::ConsumeOtherPacket(Input& ioInput) {
    const std::size_t count = std::min<std::uint64_t>(mPacketRemaining, ioInput.size);
    if (mIsReadingSystemHeader) LookForPrivateAudio(ioInput.bytes, count);
    mPacketRemaining -= count;
    ioInput.Advance(count);
    if (mPacketRemaining == 0) mParseState = ParseState::PacketStart;
}

void ProgramStreamIndexer::LookForPrivateAudio(const std::uint8_t* inBytes, std::size_t inCount) {
    const std::uint64_t begin = mPacketLength - mPacketRemaining;
    for (std::size_t i = 0; i < inCount; ++i) {
        const std::uint64_t at = begin + i;
        const bool isEntry = at >= kSystemHeaderEntries &&
                             (at - kSystemHeaderEntries) % kSystemHeaderEntrySize == 0 &&
                             at + kSystemHeaderEntrySize <= mPacketLength;
        if (isEntry && (0x100u | inBytes[i]) == kPrivateStream1Code) mAudioInPrivateStream1 = true;
    }
}

void ProgramStreamIndexer::BeginSearch() {
    mParseState = ParseState::Search;
    mTail.fill(0xFF);
}

// Looks for the start code of a packet in the bytes before and in the input.
void ProgramStreamIndexer::Search(Input& ioInput) {
    if (SearchAcrossTail(ioInput)) return;
    while (ioInput.size >= kStartCodeSize) {
        const std::size_t positions = ioInput.size - kStartCodeSize + 1;
        const std::size_t at = FindStartCodePrefix(ioInput.bytes, positions);
        if (at == positions) break;
        ioInput.Advance(at);
        if (IsPacketStart(ioInput.bytes)) {
            mParseState = ParseState::PacketStart;
            return;
        }
        ioInput.Advance(1);
    }
    // Keep the last three bytes, of which fewer than three may be new.
    const std::size_t count = ioInput.size;
    const std::size_t kept = std::min(count, mTail.size());
    std::memmove(mTail.data(), mTail.data() + kept, mTail.size() - kept);
    std::memcpy(mTail.data() + mTail.size() - kept, ioInput.bytes + count - kept, kept);
    ioInput.Advance(count);
}

// A start code that begins in the tail is moved to the header with its bytes from the input.
bool ProgramStreamIndexer::SearchAcrossTail(Input& ioInput) {
    std::array<std::uint8_t, 6> joined;
    std::copy(mTail.begin(), mTail.end(), joined.begin());
    const std::size_t fresh = std::min<std::size_t>(ioInput.size, joined.size() - mTail.size());
    std::copy_n(ioInput.bytes, fresh, joined.begin() + mTail.size());
    for (std::size_t at = 0; at < mTail.size() && at + kStartCodeSize <= mTail.size() + fresh; ++at) {
        if (!IsPacketStart(joined.data() + at)) continue;
        const std::size_t held = mTail.size() - at;
        std::copy_n(joined.begin() + static_cast<std::ptrdiff_t>(at), kStartCodeSize, mHeader.begin());
        mHeaderFill = kStartCodeSize;
        mHeaderPosition = ioInput.position - held;
        ioInput.Advance(kStartCodeSize - held);
        mParseState = ParseState::PacketStart;
        return true;
    }
    return false;
}

}  // namespace Vexmora
