// Pictures out of the bytes that the host has written.
#include "Splitter/Splitter_Buffer.h"

#include <array>

#include "Contract/Contract.h"

namespace Vexmora {

BufferSplitter::BufferSplitter(const HostServices& inServices) : Splitter(UTF16String(), inServices) {
    mPureVideo = true;
}

ReadStatus BufferSplitter::Open() {
    mTransportStream = false;
    mFirstRead = true;
    return ReadStatus::Ok;
}

ReadStatus BufferSplitter::ReadPicture(CodedPictureBuffer& ioBuffer) {
    Check(mBufferSize > 0, contracts::kBufferNotEmpty);
    ioBuffer.SetSize(0);
    ioBuffer.ResetScan();
    if (ioBuffer.CarrySize() != 0) {
        ioBuffer.MoveCarryToFront();
    } else {
        ioBuffer.SetSize(mBufferSize);
    }
    if (!ioBuffer.ScanForPictureEnd()) {
        constexpr std::array<std::uint8_t, 4> kTerminator = {0, 0, 1, 0};
        ioBuffer.Append(kTerminator);
    }
    ioBuffer.SwapWords();
    return ReadStatus::Ok;
}

}  // namespace Vexmora
