// A splitter with its buffer, and what it delivers as plain bytes.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

#include "Platform/PlatformFolder.h"
#include "Splitter/Splitter.h"
#include "Support/StreamBuilder.h"
#include "Support/TestHost.h"

namespace Vexmora::Test {

/// Declared before whatever uses it, it checks at its end that every reference was given back.
struct CountingHost : TestHost {
    ~CountingHost() {
        DropCache();
        EXPECT_EQ(LiveBlocks(), 0) << "blocks were never released";
    }
};

struct Delivery {
    ReadStatus status;
    Bytes bytes;  // in stream order

    friend bool operator==(const Delivery&, const Delivery&) = default;
};

/// What the buffer holds after SwapWords, in stream order.
inline Bytes StreamOrder(const CodedPictureBuffer& inBuffer) {
    Bytes bytes;
    for (std::uint32_t at = 0; at < inBuffer.Size(); ++at) bytes.push_back(inBuffer.Data()[at ^ 3U]);
    return bytes;
}

class PictureSource {
  public:
    PictureSource(const UTF16String& inPath, const HostServices& inServices,
                  std::uint32_t inCapacity = 1 << 20, std::uint32_t inBlockSize = 4096)
        : buffer(CodedPictureBuffer::Create(inCapacity, mTable, inServices)),
          splitter(inPath, inServices, inBlockSize) {}

    Delivery Next() {
        const ReadStatus status = splitter.ReadPicture(*buffer);
        return {status, StreamOrder(*buffer)};
    }
    /// Everything up to the first call that does not answer Ok, that one included.
    std::vector<Delivery> Rest() {
        std::vector<Delivery> all;
        do all.push_back(Next());
        while (all.back().status == ReadStatus::Ok);
        return all;
    }

  private:
    StartCodeTable mTable;

  public:
    CountedRef<CodedPictureBuffer> buffer;
    Splitter splitter;
};

inline UTF16String Write(const PlatformFolder& inFolder, const Bytes& inBytes) {
    return inFolder.Write("stream", std::string(inBytes.begin(), inBytes.end()));
}

}  // namespace Vexmora::Test
