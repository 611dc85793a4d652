// What hosts are told of the library's inner statuses: the one place where they become exported ones.
#pragma once

#include "Splitter/ReadStatus.h"
#include "Vexmora/Status.h"
#include "index_file/IndexFile_Location.h"
#include "mpeg2/DecodeStatus.h"

namespace Vexmora {

/// Of reading a picture that the index lists.
[[nodiscard]] constexpr Vexmora_Status ToExported(ReadStatus inStatus) {
    switch (inStatus) {
        case ReadStatus::Ok:
            return Vexmora_Ok;
        case ReadStatus::UnsupportedFormat:
            return Vexmora_Unsupported;
        case ReadStatus::LostSync:
            return Vexmora_NoSuchFrame;
        case ReadStatus::EndOfData:
        case ReadStatus::FileFailed:
        case ReadStatus::ServiceFailed:
            break;
    }
    return Vexmora_NoSequenceHeader;
}

/// Of decoding a picture of a file. One that was decoded in part is shown.
[[nodiscard]] constexpr Vexmora_Status ToExported(DecodeStatus inStatus) {
    switch (inStatus) {
        case DecodeStatus::Ok:
        case DecodeStatus::Failed:
        case DecodeStatus::InvalidData:
            return Vexmora_Ok;
        case DecodeStatus::NoOutput:
        case DecodeStatus::NoAddressIncrement:
            break;
    }
    return Vexmora_NoSequenceHeader;
}

/// Of writing an index that was built.
[[nodiscard]] constexpr Vexmora_Status ToExported(WriteIndexStatus inStatus) {
    return inStatus == WriteIndexStatus::Written ? Vexmora_Ok : Vexmora_IndexNotWritten;
}

}  // namespace Vexmora
