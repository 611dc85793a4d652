// Pictures out of bytes that the host writes into the buffer.
#include "Splitter/Splitter_Buffer.h"

#include <algorithm>

#include "Splitter/PictureSource.h"

namespace Vexmora::Test {
namespace {

class BufferSource {
  public:
    explicit BufferSource(std::uint32_t inCapacity = 4096)
        : buffer(CodedPictureBuffer::Create(inCapacity, mTable, mHost.Services(0))),
          splitter(mHost.Services(0)) {
        EXPECT_TRUE(splitter.IsPureVideo());
        EXPECT_EQ(splitter.Open(), ReadStatus::Ok);
    }
    void Put(const Bytes& inBytes) {
        std::copy(inBytes.begin(), inBytes.end(), buffer->Data());
        splitter.SetBufferSize(static_cast<std::uint32_t>(inBytes.size()));
    }
    Bytes Next() {
        EXPECT_EQ(splitter.ReadPicture(*buffer), ReadStatus::Ok);
        return StreamOrder(*buffer);
    }

  private:
    CountingHost mHost;
    StartCodeTable mTable;

  public:
    CountedRef<CodedPictureBuffer> buffer;
    BufferSplitter splitter;
};

const Bytes kStart = {0, 0, 1, 0};
Bytes WithoutStart(const Bytes& inPicture) {
    return Bytes(inPicture.begin() + 4, inPicture.end());
}

TEST(BufferSplitter, DeliversHeadersThenThePicture) {
    BufferSource source;
    const Bytes one = Picture(0, 1), two = Picture(1, 2, 61);
    const Bytes headers = Join({SequenceHeader(), GopHeader()});
    source.Put(one);
    EXPECT_EQ(source.Next(), kStart);
    EXPECT_EQ(source.Next(), Join({WithoutStart(one), kStart}));
    EXPECT_EQ(source.buffer->StartCodes().records.back().code, 0x101U)
        << "the added start code is not listed";
    source.Put(Join({headers, one, two, SequenceEnd()}));
    EXPECT_EQ(source.Next(), Join({headers, kStart}));
    EXPECT_EQ(source.Next(), Join({WithoutStart(one), kStart}));
    source.splitter.SetBufferSize(1);  // not looked at while there is a picture carried over
    EXPECT_EQ(source.Next(), Join({WithoutStart(two), SequenceEnd()}));
}

TEST(BufferSplitter, WithoutAStartCodeTakesTheSameBytesAgain) {
    BufferSource source;
    source.Put({1, 2, 3, 4, 5, 6, 7, 8});
    EXPECT_EQ(source.Next(), (Bytes{1, 2, 3, 4, 5, 6, 7, 8, 0, 0, 1, 0}));
    EXPECT_EQ(source.Next(), (Bytes{4, 3, 2, 1, 8, 7, 6, 5, 0, 0, 1, 0}));
}

TEST(BufferSplitter, StaysInsideTheBuffer) {
    BufferSource source(40);
    source.Put(Bytes(38, 9));
    source.splitter.SetBufferSize(0xFFFFFFFF);
    EXPECT_EQ(source.Next().size(), 40U);
    source.Put(Bytes(38, 9));
    const Bytes cut = source.Next();
    EXPECT_EQ(Bytes(cut.begin() + 36, cut.end()), (Bytes{9, 9, 0, 0}));
}

}  // namespace
}  // namespace Vexmora::Test
