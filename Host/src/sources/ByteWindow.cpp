// Moves the view: what is in hand already is not read again.
#include "sources/ByteWindow.h"

#include <algorithm>

namespace VexmoraHost {

void ByteWindow::Fill(std::uint64_t inPosition) {
    const std::uint64_t position = std::min(inPosition, mFiles.Size());
    const bool isInside = position >= mBegin && position < mBegin + mCount;
    if (isInside && mBegin + mCount == mFiles.Size()) return;
    const std::size_t kept = isInside ? mBegin + mCount - position : 0;
    std::copy_n(mBuffer.begin() + static_cast<std::ptrdiff_t>(mCount - kept), kept, mBuffer.begin());
    mCount = 0;  // nothing is in hand when the read fails
    const std::size_t got = mFiles.ReadAt(position + kept, std::span(mBuffer).subspan(kept));
    mBegin = position;
    mCount = kept + got;
}

}  // namespace VexmoraHost
