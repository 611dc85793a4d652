// Tables as bytes; reading trusts nothing.
#include "sources/SourceTables.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>

#include "sources/VideoScanner.h"

namespace VexmoraHost {
namespace {

static_assert(std::endian::native == std::endian::little, "the stored numbers are those in memory");

constexpr std::array<char, 8> kMagic{'V', 'X', 'T', 'A', 'B', 'L', 'E', 'S'};
constexpr std::uint32_t kVersion = 1;

// ---- Bytes ------------------------------------------------------------------------------------------------

class Writer {
  public:
    static constexpr bool kIsReader = false;

    explicit Writer(std::size_t inRoom) { mBytes.reserve(inRoom); }
    std::vector<std::byte> Take() { return std::move(mBytes); }

    bool Raw(const void* inBytes, std::size_t inCount) {
        const auto* const bytes = static_cast<const std::byte*>(inBytes);
        mBytes.insert(mBytes.end(), bytes, bytes + inCount);
        return true;
    }
    // The number of elements that follow.
    template <class Container>
    bool Count(const Container& inContainer, std::size_t) {
        const std::uint64_t count = inContainer.size();
        return Raw(&count, sizeof count);
    }

  private:
    std::vector<std::byte> mBytes;
};

class Reader {
  public:
    static constexpr bool kIsReader = true;

    explicit Reader(std::span<const std::byte> inBytes) : mBytes(inBytes) {}
    bool IsAtEnd() const { return mBytes.empty(); }

    bool Raw(void* outBytes, std::size_t inCount) {
        if (inCount > mBytes.size()) return false;
        if (inCount > 0) std::memcpy(outBytes, mBytes.data(), inCount);
        mBytes = mBytes.subspan(inCount);
        return true;
    }
    // Makes room for elements of at least inLeastBytes; there are no more than the bytes can hold.
    template <class Container>
    bool Count(Container& outContainer, std::size_t inLeastBytes) {
        std::uint64_t count = 0;
        if (!Raw(&count, sizeof count) || count > mBytes.size() / inLeastBytes) return false;
        outContainer.resize(count);
        return true;
    }

  private:
    std::span<const std::byte> mBytes;
};

// ---- One order of fields for both -------------------------------------------------------------------------

// Each passes a value to the writer, or has the reader fill it; false when it is not there or not sound.
template <class Stream, class Number>
requires std::is_integral_v<Number>
bool Pass(Stream& ioStream, Number& ioNumber) {
    return ioStream.Raw(&ioNumber, sizeof ioNumber);
}

// A vector or text of plain bytes.
template <class Stream, class Container>
bool PassBytes(Stream& ioStream, Container& ioContainer) {
    return ioStream.Count(ioContainer, 1) && ioStream.Raw(ioContainer.data(), ioContainer.size());
}

// @param inLeastBytes that an element takes.
template <class Stream, class Element>
bool PassAll(Stream& ioStream, std::vector<Element>& ioElements, std::size_t inLeastBytes) {
    if (!ioStream.Count(ioElements, inLeastBytes)) return false;
    return std::all_of(ioElements.begin(), ioElements.end(),
                       [&](Element& ioElement) { return Pass(ioStream, ioElement); });
}

template <class Stream, class Enum>
bool PassKind(Stream& ioStream, Enum& ioKind, Enum inLast) {
    auto number = static_cast<std::uint32_t>(ioKind);
    if (!Pass(ioStream, number) || number > static_cast<std::uint32_t>(inLast)) return false;
    ioKind = static_cast<Enum>(number);
    return true;
}

template <class Stream>
bool Pass(Stream& ioStream, StreamInfo& io) {
    return PassKind(ioStream, io.kind, StreamInfo::Kind::Other) && Pass(ioStream, io.id) &&
           PassBytes(ioStream, io.codec) && PassBytes(ioStream, io.language) && Pass(ioStream, io.width) &&
           Pass(ioStream, io.height);
}

template <class Stream>
bool Pass(Stream& ioStream, ProgramInfo& io) {
    return Pass(ioStream, io.number) && PassAll(ioStream, io.streams, 30);
}

template <class Stream>
bool Pass(Stream& ioStream, Packaging& io) {
    return PassKind(ioStream, io.kind, Packaging::Kind::Transport) && Pass(ioStream, io.packetDistance) &&
           Pass(ioStream, io.begin) && PassAll(ioStream, io.programs, 10);
}

template <class Stream>
bool Pass(Stream& ioStream, StreamAccount::VideoPid& io) {
    return Pass(ioStream, io.position) && Pass(ioStream, io.pid);
}

template <class Stream>
bool Pass(Stream& ioStream, PacketCounts& io) {
    return Pass(ioStream, io.packets) && Pass(ioStream, io.continuityErrors) &&
           Pass(ioStream, io.scrambled) && Pass(ioStream, io.transportErrors);
}

template <class Stream, class Value>
bool Pass(Stream& ioStream, std::pair<std::uint16_t, Value>& io) {
    return Pass(ioStream, io.first) && Pass(ioStream, io.second);
}

template <class Stream, class Value>
bool Pass(Stream& ioStream, std::map<std::uint16_t, Value>& io) {
    std::vector<std::pair<std::uint16_t, Value>> entries(io.begin(), io.end());
    if (!PassAll(ioStream, entries, 10)) return false;
    if constexpr (Stream::kIsReader) io = {entries.begin(), entries.end()};
    const auto key = [](const auto& in) { return in.first; };
    return io.size() == entries.size() && std::ranges::is_sorted(entries, {}, key);
}

template <class Stream>
bool Pass(Stream& ioStream, StreamAccount& io) {
    return PassAll(ioStream, io.videoPids, 10) && Pass(ioStream, io.packets) &&
           Pass(ioStream, io.firstTimes) && Pass(ioStream, io.skippedBytes) && Pass(ioStream, io.losses) &&
           Pass(ioStream, io.videoPacketsNotShown);
}

// Whatever headers the bytes are, they are those that a scan makes of them.
bool ReadParameters(SequenceParameterSet& ioSet) {
    constexpr std::array<std::uint8_t, 8> kPicture{0, 0, 1, 0, 0, 1 << 3, 0, 0};
    VideoScanner scanner;
    scanner.Add({.bytes = ioSet.bytes});
    scanner.Add({.bytes = kPicture});
    CodedVideo scanned = scanner.Finish();
    if (scanned.parameters.size() != 1 || scanned.parameters[0].bytes != ioSet.bytes) return false;
    ioSet = std::move(scanned.parameters[0]);
    return true;
}

template <class Stream>
bool Pass(Stream& ioStream, SequenceParameterSet& io) {
    if (!PassBytes(ioStream, io.bytes)) return false;
    if constexpr (Stream::kIsReader) return ReadParameters(io);
    return true;
}

bool IsSound(const CodedFrame& inFrame, const CodedVideo& inVideo) {
    const auto isType = [](unsigned in) { return in >= 1 && in <= 3; };
    const bool isPairSound = inFrame.IsFieldPair() ? inFrame.IsField() && isType(inFrame.SecondFieldType())
                                                   : inFrame.flags < 0x1000;
    return inFrame.size <= VideoScanner::kLargestFrame && inFrame.secondField <= inFrame.size &&
           inFrame.parameters < inVideo.parameters.size() && isType(inFrame.PictureCodingType()) &&
           (inFrame.flags & 3) != 0 && (inFrame.flags & 0x8000) == 0 && isPairSound;
}

template <class Stream>
bool Pass(Stream& ioStream, CodedVideo& io) {
    return PassAll(ioStream, io.parameters, 20) && ioStream.Count(io.frames, sizeof(CodedFrame)) &&
           ioStream.Raw(io.frames.data(), io.frames.size() * sizeof(CodedFrame));
}

template <class Stream>
bool Pass(Stream& ioStream, SourceTables& io) {
    auto magic = kMagic;
    std::uint32_t version = kVersion;
    return ioStream.Raw(magic.data(), magic.size()) && magic == kMagic && Pass(ioStream, version) &&
           version == kVersion && Pass(ioStream, io.packaging) && Pass(ioStream, io.chosen.program) &&
           Pass(ioStream, io.chosen.id) && Pass(ioStream, io.account) && Pass(ioStream, io.video);
}

}  // namespace

std::vector<std::byte> ToBytes(const SourceTables& inTables) {
    constexpr std::size_t kRoomForTheRest = 65536;
    Writer writer(inTables.video.frames.size() * sizeof(CodedFrame) + kRoomForTheRest);
    // A writer changes nothing.
    static_cast<void>(Pass(writer, const_cast<SourceTables&>(inTables)));
    return writer.Take();
}

std::optional<SourceTables> TablesFrom(std::span<const std::byte> inBytes) {
    std::optional<SourceTables> tables(std::in_place);
    Reader reader(inBytes);
    const bool isWhole = Pass(reader, *tables) && reader.IsAtEnd();
    const auto isSound = [&](const CodedFrame& in) { return IsSound(in, tables->video); };
    if (!isWhole || !std::ranges::all_of(tables->video.frames, isSound)) tables.reset();
    return tables;
}

}  // namespace VexmoraHost
