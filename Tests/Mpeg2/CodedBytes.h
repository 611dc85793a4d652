// A coded picture made of given bytes, ready for a bit reader.
#pragma once

#include "Support/StreamBuilder.h"
#include "Support/TestHost.h"
#include "mpeg2/Headers.h"

namespace Vexmora::Test {

/// Memory of exactly inBytes, all of them held. The bytes hold no picture's end, save at their end.
struct CodedBytes {
    explicit CodedBytes(const Bytes& inBytes)
        : buffer(CodedPictureBuffer::Create(static_cast<std::uint32_t>(inBytes.size()), table,
                                            host.Services())) {
        buffer->ResetScan();
        buffer->Append(inBytes);
        complete = buffer->ScanForPictureEnd();
        buffer->SwapWords();
    }
    BitReader Reader() const { return BitReader(*buffer); }

    TestHost host;
    StartCodeTable table;
    CountedRef<CodedPictureBuffer> buffer;
    bool complete = false;
};

}  // namespace Vexmora::Test
