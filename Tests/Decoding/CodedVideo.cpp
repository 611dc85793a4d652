// Cutting, decoding and damaging coded pictures.
#include "Decoding/CodedVideo.h"

#include <algorithm>
#include <cstring>

#include "Syntax/RandomStream.h"

namespace Vexmora::Test {
namespace {

unsigned PictureStructure(const Bytes& inPicture) {
    const auto extensions = StartCodes(inPicture, 0xB5, 0xB5);
    return extensions.empty() ? 3 : inPicture.at(extensions[0] + 6) & 3;
}

// Damages a copy, once a strike.
class Vandal {
  public:
    Vandal(std::mt19937& ioRandom, const Bytes& inBytes, std::size_t inFirst)
        : mRandom(ioRandom), mBytes(inBytes), mFirst(inFirst) {}

    void Strike() {
        if (mBytes.size() <= mFirst) return;
        const std::size_t at = mFirst + Below(mBytes.size() - mFirst);
        switch (Below(7)) {
            case 0:
                return FlipBits(at);
            case 1:
                return Overwrite(at, RandomBytes(1 + Below(64)));
            case 2:
                return Insert(at, Bytes(1 + Below(40), static_cast<std::uint8_t>(Below(2) * 255)));
            case 3:
                return CutOff(at);
            case 4:
                return LoseOrRepeatSlice();
            case 5:
                return Below(2) == 0 ? Overwrite(at, RandomStartCode()) : Insert(at, RandomStartCode());
            default:
                return ChangeCodingExtension();
        }
    }
    Bytes Take() { return std::move(mBytes); }

  private:
    std::size_t Below(std::size_t inLimit) { return mRandom() % inLimit; }
    Bytes RandomBytes(std::size_t inCount) {
        Bytes bytes(inCount);
        for (auto& byte : bytes) byte = static_cast<std::uint8_t>(mRandom());
        return bytes;
    }
    Bytes RandomStartCode() {
        constexpr std::array<std::uint8_t, 6> kOthers{0x00, 0xB2, 0xB3, 0xB5, 0xB7, 0xB8};
        return {0, 0, 1,
                Below(2) == 0 ? kOthers[Below(kOthers.size())] : static_cast<std::uint8_t>(1 + Below(10))};
    }
    Bytes::iterator Place(std::size_t inAt) { return mBytes.begin() + static_cast<std::ptrdiff_t>(inAt); }

    void FlipBits(std::size_t inAt) {
        for (std::size_t flips = 1 + Below(8); flips != 0; --flips) {
            const std::size_t byte = inAt + Below(std::min<std::size_t>(mBytes.size() - inAt, 400));
            mBytes[byte] = static_cast<std::uint8_t>(mBytes[byte] ^ 1u << Below(8));
        }
    }
    void Overwrite(std::size_t inAt, const Bytes& inBytes) {
        const std::size_t count = std::min(inBytes.size(), mBytes.size() - inAt);
        std::copy_n(inBytes.begin(), count, Place(inAt));
    }
    void Insert(std::size_t inAt, const Bytes& inBytes) {
        mBytes.insert(Place(inAt), inBytes.begin(), inBytes.end());
    }
    void CutOff(std::size_t inAt) { mBytes.resize(std::max<std::size_t>(inAt, 1)); }
    // A repeated slice may say that it is in another row.
    void LoseOrRepeatSlice() {
        const auto slices = StartCodes(mBytes, 0x01, 0xAF);
        if (slices.size() < 2) return;
        const std::size_t slice = Below(slices.size() - 1);
        const std::size_t begin = slices[slice];
        const std::size_t end = slices[slice + 1];
        if (begin < mFirst) return;
        if (Below(2) == 0) {
            mBytes.erase(Place(begin), Place(end));
            return;
        }
        Bytes copy(Place(begin), Place(end));
        if (Below(2) == 0) copy[3] = static_cast<std::uint8_t>(1 + Below(0xAF));
        Insert(begin, copy);
    }
    // Other structures, vectors and scans than the picture was coded with.
    void ChangeCodingExtension() {
        const auto extensions = StartCodes(mBytes, 0xB5, 0xB5);
        if (extensions.empty()) return;
        const std::size_t begin = extensions[Below(extensions.size())] + 4;
        if (begin < mFirst || begin + 5 > mBytes.size() || mBytes[begin] >> 4 != 8) return;
        for (std::size_t flips = 1 + Below(4); flips != 0; --flips) {
            const std::size_t bit = 4 + Below(4 * 8);
            mBytes[begin + bit / 8] = static_cast<std::uint8_t>(mBytes[begin + bit / 8] ^ 0x80u >> bit % 8);
        }
    }

    std::mt19937& mRandom;
    Bytes mBytes;
    const std::size_t mFirst;
};

}  // namespace

unsigned TemporalReference(const Bytes& inPicture) {
    return unsigned{inPicture.at(4)} << 2 | unsigned{inPicture.at(5)} >> 6;
}

CodedVideo CutIntoPictures(const Bytes& inStream) {
    std::vector<std::size_t> starts = StartCodes(inStream, 0, 0);
    CodedVideo video{{inStream.begin(), inStream.begin() + static_cast<std::ptrdiff_t>(starts.at(0))}, {}};
    starts.push_back(inStream.size());
    constexpr unsigned kNone = ~0u;
    unsigned begunFrame = kNone;  // temporal_reference of a frame of which one field came
    std::size_t past = 0;
    std::size_t future = 0;
    for (std::size_t i = 0; i + 1 < starts.size(); ++i) {
        CodedUnit unit{};
        unit.bytes.assign(inStream.begin() + static_cast<std::ptrdiff_t>(starts[i]),
                          inStream.begin() + static_cast<std::ptrdiff_t>(starts[i + 1]));
        unit.temporal_reference = TemporalReference(unit.bytes);
        unit.picture_coding_type = unit.bytes.at(5) >> 3 & 7;
        const bool isSecond = begunFrame == unit.temporal_reference;
        if (!isSecond && ++video.frameCount > 1 && unit.picture_coding_type != 3) past = future;
        unit.frame = video.frameCount - 1;
        if (unit.picture_coding_type != 3) future = unit.frame;
        begunFrame = kNone;
        if (!isSecond && PictureStructure(unit.bytes) != 3) begunFrame = unit.temporal_reference;
        unit.past = past;
        unit.future = future;
        video.units.push_back(std::move(unit));
    }
    return video;
}

Bytes MakeSmallStream(unsigned inSeed, bool inAsFields) {
    const bool hasDualPrime = inSeed % 3 == 2;
    const StreamPlan plan{
        .name = "small",
        .width = 96,
        .height = inAsFields ? 72U : 128U,  // 72: an odd number of rows
        .types = hasDualPrime ? "IPPPPPP" : "IPBPBPB",
        .structure = inAsFields ? StreamPlan::Structure::TopFirst : StreamPlan::Structure::Frames,
        .hasDualPrime = hasDualPrime,
    };
    Features features;
    return MakeRandomStream(plan, inSeed, features).All();
}

BufferInstance::BufferInstance(const HostServices& inServices, Scale inScale) : mScale(inScale) {
    EXPECT_EQ(Vexmora_OpenBufferInstance(inServices, kCapacity, &mHandle, &mBuffer), Vexmora_Ok);
}

void BufferInstance::ReadHeaders(const CodedVideo& inVideo) {
    const CodedUnit& unit = inVideo.units.front();
    const Bytes data = Join({inVideo.headers, unit.bytes});
    constexpr FramePlanes kNone{};
    EXPECT_EQ(Decode(data, unit.picture_coding_type, kNone, kNone, kNone), Vexmora_NoSuchFrame);
    static_cast<void>(NewPicture());
}

Vexmora_Status BufferInstance::Decode(const Bytes& inBytes, unsigned inType, const FramePlanes& inForward,
                                      const FramePlanes& inBackward, const FramePlanes& inOutput) {
    std::memcpy(mBuffer, inBytes.data(), std::min<std::size_t>(inBytes.size(), kCapacity));
    return Vexmora_GetFrameFromBuffer(mHandle, static_cast<std::uint32_t>(inBytes.size()), inType, &inForward,
                                      &inBackward, &inOutput, ModeOf(mScale), SubModeOf(mScale));
}

Picture420 BufferInstance::NewPicture() const {
    return Test::NewPicture(mHandle);
}

Vexmora_Status BufferInstance::Decode(const CodedUnit& inUnit, const Bytes& inBytes,
                                      std::vector<Picture420>& ioFrames, Picture420& outPicture) {
    const auto planesOf = [&](std::size_t inFrame) {
        return inFrame == inUnit.frame ? outPicture.Planes() : ioFrames.at(inFrame).Planes();
    };
    return Decode(inBytes, inUnit.picture_coding_type, planesOf(inUnit.past), planesOf(inUnit.future),
                  outPicture.Planes());
}

std::vector<Picture420> BufferInstance::DecodeAll(const CodedVideo& inVideo) {
    ReadHeaders(inVideo);
    std::vector<Picture420> frames(inVideo.frameCount, NewPicture());
    for (const CodedUnit& unit : inVideo.units) {
        EXPECT_EQ(Decode(unit, unit.bytes, frames, frames.at(unit.frame)), Vexmora_Ok);
    }
    return frames;
}

Bytes DamageAnywhere(std::mt19937& ioRandom, const Bytes& inBytes, std::size_t inFirst) {
    Vandal vandal(ioRandom, inBytes, inFirst);
    for (std::size_t times = 1 + ioRandom() % 3; times != 0; --times) vandal.Strike();
    return vandal.Take();
}

}  // namespace Vexmora::Test
