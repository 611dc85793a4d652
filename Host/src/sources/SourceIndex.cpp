// A stream of headers alone is made of the frames, and given to the library's indexer.
#include "sources/SourceIndex.h"

#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <span>

#include "Vexmora/Vexmora.h"

namespace VexmoraHost {
namespace {

constexpr std::size_t kPacketSize = 188;  // ISO/IEC 13818-1, 2.4.3.2
constexpr std::size_t kSequenceHeaderSize = 12;
constexpr std::size_t kSequenceExtensionSize = 10;
constexpr std::size_t kMatrixSize = 64;
constexpr std::size_t kFramesAtOnce = 4096;

// Headers of one frame after another, each in the same number of bytes: in a transport stream a packet. A
// field pair is one frame picture. Behind the headers there are bytes that are no start code.
class HeaderStream {
  public:
    HeaderStream(const CodedVideo& inVideo, bool inAsTransport)
        : mVideo(inVideo), mAsTransport(inAsTransport) {
        mSequence = inVideo.parameters[inVideo.frames.front().parameters].bytes;
        TakeSequenceApart();
    }

    std::size_t FrameSize() const { return mAsTransport ? kPacketSize : kElementarySize; }
    const std::vector<std::uint8_t>& FrameHeaders(std::size_t inFirst, std::size_t inCount) {
        mBytes.assign(inCount * FrameSize(), kFiller);
        for (std::size_t number = 0; number < inCount; ++number) {
            mAt = mBytes.data() + number * FrameSize();
            Write(mVideo.frames[inFirst + number], inFirst + number == 0);
        }
        return mBytes;
    }

  private:
    static constexpr std::size_t kElementarySize = 72;
    static constexpr std::uint8_t kFiller = 0xFF;

    // Without matrices and extensions but the first; later headers have no say in an index.
    void TakeSequenceApart() {
        const bool hasIntra = (mSequence[kSequenceHeaderSize - 1] & 2) != 0;
        const std::size_t flagAt = kSequenceHeaderSize - 1 + (hasIntra ? kMatrixSize : 0);
        const bool hasNonIntra = (mSequence[flagAt] & 1) != 0;
        const auto matrices = mSequence.begin() + kSequenceHeaderSize;
        const std::size_t size = kMatrixSize * (hasIntra + hasNonIntra);
        mSequence.erase(matrices, matrices + static_cast<std::ptrdiff_t>(size));
        mSequence.resize(std::min(mSequence.size(), kSequenceHeaderSize + kSequenceExtensionSize));
        mSequence[kSequenceHeaderSize - 1] &= 0xFC;
    }

    void Put(std::initializer_list<unsigned> inBytes) {
        for (const unsigned byte : inBytes) *mAt++ = static_cast<std::uint8_t>(byte);
    }

    void Write(const CodedFrame& inFrame, bool inIsFirst) {
        if (mAsTransport) {
            Put({0x47, 0x41, 0x00, 0x10});           // begins a PES packet of PID 256
            Put({0, 0, 1, 0xE0, 0, 0, 0x80, 0, 0});  // which is of video
        }
        if (inIsFirst || (inFrame.flags & kSequenceFlag) != 0) {
            mAt = std::copy(mSequence.begin(), mSequence.end(), mAt);
        }
        if ((inFrame.flags & kGroupFlag) != 0) {
            const unsigned closed_gop = (inFrame.flags & kClosedGroupFlag) != 0 ? 0x40 : 0;
            const unsigned broken_link = (inFrame.flags & kBrokenLinkFlag) != 0 ? 0x20 : 0;
            Put({0, 0, 1, 0xB8, 0, 0x08, 0, closed_gop | broken_link});
        }
        const unsigned header = inFrame.header;
        Put({0, 0, 1, 0x00, header >> 8, header & 0xFF, kFiller, kFiller});
        if ((inFrame.flags & kNoExtensionFlag) == 0) {
            const unsigned top_field_first = (inFrame.flags & kTopFieldFirstFlag) != 0 ? 0x80 : 0;
            const unsigned repeat_first_field = (inFrame.flags & kRepeatFirstFieldFlag) != 0 ? 0x02 : 0;
            const unsigned progressive_frame = (inFrame.flags & kProgressiveFrameFlag) != 0 ? 0x80 : 0;
            constexpr unsigned kFrameStructure = 3;
            Put({0, 0, 1, 0xB5, 0x8F, 0xFF, 0xF0 | kFrameStructure, top_field_first | repeat_first_field,
                 progressive_frame});
        }
        Put({0, 0, 1, 0x01});
    }

    const CodedVideo& mVideo;
    const bool mAsTransport;
    std::vector<std::uint8_t> mSequence;
    std::vector<std::uint8_t> mBytes;
    std::uint8_t* mAt = nullptr;  // in it
};

struct Destroy {
    void operator()(Vexmora_IndexerTag* inIndexer) const noexcept {
        static_cast<void>(Vexmora_BufferIndexerDestroy(&inIndexer));
    }
};
using Indexer = std::unique_ptr<Vexmora_IndexerTag, Destroy>;

Indexer MakeIndexer(bool inAsTransport) {
    constexpr std::array<std::uint8_t, 5> kElementary{0, 0, 1, 0xB3, 0};
    Vexmora_IndexerHandle indexer = nullptr;
    const Vexmora_Status status = inAsTransport
                                      ? Vexmora_BufferIndexerCreate(&indexer)
                                      : Vexmora_CreateIndexerFromFirstBuffer(kElementary.data(), &indexer);
    if (status != Vexmora_Ok) throw std::bad_alloc();
    return Indexer(indexer);
}

// The records of the stream of headers; in its place each offset tells the frame.
bool IndexHeaders(HeaderStream& ioHeaders, std::size_t inFrameCount, bool inAsTransport,
                  StoredIndex& outIndex) {
    const Indexer indexer = MakeIndexer(inAsTransport);
    std::uint64_t position = 0;
    const auto scan = [&](const std::vector<std::uint8_t>& inBytes) {
        static_cast<void>(Vexmora_BufferIndexerScan(indexer.get(), inBytes.data(), inBytes.size(), position));
        position += inBytes.size();
    };
    for (std::size_t frame = 0; frame < inFrameCount; frame += kFramesAtOnce) {
        scan(ioHeaders.FrameHeaders(frame, std::min(kFramesAtOnce, inFrameCount - frame)));
    }
    std::vector<Vexmora::AudioAlignmentRun> alignmentPlan;
    const Vexmora_Status status = Vexmora_BufferIndexerDone(indexer.get(), position, &outIndex.header,
                                                            &alignmentPlan, &outIndex.records);
    return status == Vexmora_Ok;
}

std::uint32_t StreamKindOf(Packaging::Kind inKind) {
    switch (inKind) {
        case Packaging::Kind::Program:
            return Vexmora::kStreamKindProgram;
        case Packaging::Kind::Transport:
            return Vexmora::kStreamKindTransport;
        default:
            return Vexmora::kStreamKindElementary;
    }
}

void TellDisplay(const CodedVideo& inVideo, Vexmora::IndexHeader& ioHeader) {
    constexpr std::array<std::uint8_t, 4> kNotTold{5, 2, 2, 2};
    const auto tells = [&](const SequenceParameterSet& in) {
        return in.displayWidth != 0 || in.displayHeight != 0 || in.colour != kNotTold;
    };
    const auto set = std::find_if(inVideo.parameters.begin(), inVideo.parameters.end(), tells);
    if (set == inVideo.parameters.end()) return;
    ioHeader.displayWidth = static_cast<std::uint16_t>(set->displayWidth);
    ioHeader.displayHeight = static_cast<std::uint16_t>(set->displayHeight);
    const auto& colour = set->colour;
    const std::uint32_t kept = ioHeader.formatWord & (Vexmora::kFieldOrderMask | 3u << 15);
    ioHeader.formatWord = kept | colour[0] | std::uint32_t{colour[1]} << 3 | std::uint32_t{colour[2]} << 6 |
                          (std::uint32_t{colour[3]} << 10);
}

// In place of those in the stream of headers.
void PointIntoVideo(const CodedVideo& inVideo, std::size_t inFrameSize, SourceIndex& ioIndex) {
    ioIndex.frames.assign(ioIndex.index.records.size(), kNoCodedFrame);
    for (std::size_t number = 0; number < ioIndex.frames.size(); ++number) {
        Vexmora::FrameRecord& record = ioIndex.index.records[number];
        if (record.size == 0) continue;
        const std::size_t index = record.offset / inFrameSize;
        const CodedFrame& frame = inVideo.frames[index];
        ioIndex.frames[number] = static_cast<std::uint32_t>(index);
        record.offset = frame.position + frame.skip;
        record.size = frame.size;
    }
}

}  // namespace

SourceIndex MakeSourceIndex(const CodedVideo& inVideo, Packaging::Kind inKind, std::uint64_t inStreamLength,
                            const Guid& inIdentity) {
    SourceIndex made{};
    Vexmora::IndexHeader& header = made.index.header;
    const bool asTransport = inKind == Packaging::Kind::Transport;
    bool isIndexed = false;
    if (!inVideo.frames.empty()) {
        HeaderStream headers(inVideo, asTransport);
        isIndexed = IndexHeaders(headers, inVideo.frames.size(), asTransport, made.index);
        if (isIndexed) PointIntoVideo(inVideo, headers.FrameSize(), made);
    }
    if (isIndexed) {
        const auto bySize = [](const CodedFrame& a, const CodedFrame& b) { return a.size < b.size; };
        header.streamKind = StreamKindOf(inKind);
        header.streamLength = inStreamLength;
        header.maxPictureSize = std::max_element(inVideo.frames.begin(), inVideo.frames.end(), bySize)->size;
        TellDisplay(inVideo, header);
    } else {
        made = {};
        header.streamKind = Vexmora::kStreamKindFailed;
    }
    header.version = Vexmora::kIndexVersion;
    header.identity = inIdentity;
    return made;
}

}  // namespace VexmoraHost
