// The checks that the library makes of its own parts, and the report when one fails.
#pragma once

namespace Vexmora {

enum class ContractKind { Input, Output };

/// One check as it is reported. Source label and line belong to the check, not to the file it stands in, so
/// that code may move freely.
struct ContractCheck {
    const char* expression;
    const char* source;
    int line;
    ContractKind kind;
};

/// Every check in the library.
namespace contracts {
inline constexpr ContractCheck kAtStartCode{"inBuffer[0] == 0 && inBuffer[1] == 0 && inBuffer[2] == 1",
                                            R"(..\..\Src\Indexer)", 1649, ContractKind::Input};
inline constexpr ContractCheck kFeedSyncByte{"inTransportPacket[0] == kTransportStreamSyncByte",
                                             R"(..\..\Src\Indexer)", 2485, ContractKind::Input};
inline constexpr ContractCheck kFeedPayloadOffset{"inOffsetOfPayload >= kTransportStreamHeaderSize",
                                                  R"(..\..\Src\Indexer)", 2486, ContractKind::Input};
inline constexpr ContractCheck kProcessSyncByte{"inTransportPacket[0] == kTransportStreamSyncByte",
                                                R"(..\..\Src\Indexer)", 2571, ContractKind::Input};
inline constexpr ContractCheck kWholePacket{"inBufferSize >= kTransportPacketSize", R"(..\..\Src\Indexer)",
                                            2773, ContractKind::Input};
inline constexpr ContractCheck kBufferNotEmpty{"mBufferSize > 0", R"(..\..\Src\Splitter_Buffer)", 70,
                                               ContractKind::Input};
inline constexpr ContractCheck kIsPureVideo{"mSplitter->IsPureVideo() == true", R"(..\..\Src\Decoder)", 840,
                                            ContractKind::Input};
inline constexpr ContractCheck kVariantSelected{"status == ippStsNoErr", R"(..\..\Src\Init)", 66,
                                                ContractKind::Output};
}  // namespace contracts

/// Reports a failed check to the platform. Returns, and the caller goes on as if the check had held, so the
/// code behind a check must stay memory-safe without it.
void ReportViolation(const ContractCheck& inCheck);

/// Reports inCheck unless inHolds. Returns inHolds.
inline bool Check(bool inHolds, const ContractCheck& inCheck) {
    if (!inHolds) [[unlikely]] {
        ReportViolation(inCheck);
    }
    return inHolds;
}

}  // namespace Vexmora
