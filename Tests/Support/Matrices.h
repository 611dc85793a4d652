// Quantiser matrix extensions put into a video (ISO/IEC 13818-2, 6.2.3.2).
#pragma once

#include <cstddef>
#include <vector>

#include "Support/StreamBuilder.h"

namespace Vexmora::Test {

/// Where the extensions are that ParsePictureHeader and ParseSequenceHeader read.
inline std::vector<std::size_t> Extensions(const Bytes& inVideo, unsigned inIdentifier) {
    std::vector<std::size_t> found;
    for (std::size_t at = 0; at + 16 < inVideo.size(); ++at) {
        if (inVideo[at] == 0 && inVideo[at + 1] == 0 && inVideo[at + 2] == 1 && inVideo[at + 3] == 0xB5 &&
            inVideo[at + 4] >> 4 == inIdentifier) {
            found.push_back(at);
        }
    }
    return found;
}

/// Every third picture loads another flat matrix, for luma or for non-intra blocks alone.
inline Bytes AddMatrices(Bytes inVideo) {
    const std::vector<std::size_t> pictures = Extensions(inVideo, 8);
    for (std::size_t i = pictures.size(); i-- > 0;) {
        if (i % 3 != 0) continue;
        BitWriter extension;
        extension.Put(32, 0x1B5).Put(4, 3).Put(2, i % 2 == 0 ? 2 : 1);
        for (int k = 0; k < 64; ++k) extension.Put(8, 16 + i % 32);
        const Bytes bytes = extension.Put(1 + i % 2, 0).Put(2, 0).Take();
        inVideo.insert(inVideo.begin() + static_cast<std::ptrdiff_t>(pictures[i] + 9), bytes.begin(),
                       bytes.end());
    }
    return inVideo;
}

}  // namespace Vexmora::Test
