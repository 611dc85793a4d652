// Video cut into its coded pictures, buffer instances that decode them, and damaged copies.
#pragma once

#include <random>

#include "Decoding/DecodeChain.h"
#include "Support/StreamBuilder.h"

namespace Vexmora::Test {

/// A frame or a field. Frames are numbered in coded order; a missing reference is the frame itself.
struct CodedUnit {
    Bytes bytes;  // from the picture start code on
    unsigned temporal_reference;
    unsigned picture_coding_type;
    std::size_t frame;
    std::size_t past;
    std::size_t future;
};

struct CodedVideo {
    Bytes headers;
    std::vector<CodedUnit> units;
    std::size_t frameCount = 0;
};

/// Of a coded picture of 6 bytes and more.
unsigned TemporalReference(const Bytes& inPicture);
/// Cuts an undamaged elementary stream.
CodedVideo CutIntoPictures(const Bytes& inStream);
/// Random frames or fields, in which every kind of prediction occurs: dual prime for every third seed.
Bytes MakeSmallStream(unsigned inSeed, bool inAsFields);

/// A buffer instance, closed at the end.
class BufferInstance {
  public:
    BufferInstance(const HostServices& inServices, Scale inScale);
    ~BufferInstance() { Vexmora_CloseFile(mHandle); }
    BufferInstance(const BufferInstance&) = delete;
    BufferInstance& operator=(const BufferInstance&) = delete;

    /// Lets the instance know the sequence, and what planes there will be, without decoding a picture.
    void ReadHeaders(const CodedVideo& inVideo);
    /// Decodes inBytes, a picture with or without headers, as one of inType.
    Vexmora_Status Decode(const Bytes& inBytes, unsigned inType, const FramePlanes& inForward,
                          const FramePlanes& inBackward, const FramePlanes& inOutput);
    /// Of the size that the instance asks for.
    Picture420 NewPicture() const;
    /// Decodes inBytes, a coded picture that takes the place of inUnit.
    Vexmora_Status Decode(const CodedUnit& inUnit, const Bytes& inBytes, std::vector<Picture420>& ioFrames,
                          Picture420& outPicture);
    /// All frames of an undamaged video.
    std::vector<Picture420> DecodeAll(const CodedVideo& inVideo);

  private:
    static constexpr std::uint32_t kCapacity = 1 << 20;
    Vexmora_Handle mHandle = nullptr;
    std::uint8_t* mBuffer = nullptr;
    const Scale mScale;
};

/// Flips bits, overwrites, inserts, cuts off, drops or repeats slices, and puts start codes where none should
/// be, once to three times, nowhere before inFirst.
Bytes DamageAnywhere(std::mt19937& ioRandom, const Bytes& inBytes, std::size_t inFirst);

}  // namespace Vexmora::Test
