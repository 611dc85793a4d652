// Sequence and picture headers of arbitrary bytes, cut anywhere: parsing ends, stays within the data, and
// depends on nothing behind it.
#include <gtest/gtest.h>

#include "FuzzTarget.h"
#include "Support/TestHost.h"
#include "mpeg2/Headers.h"

namespace Vexmora::Test {
namespace {

struct Outcome {
    bool hasSequence;
    bool hasPicture;
    std::int32_t nextCode;
    SequenceParameters inForce;
    std::array<std::array<std::uint32_t, 2>, 2> fCode;
    friend bool operator==(const Outcome&, const Outcome&) = default;
};

// Both parsers one after the other, in memory of which inSpareBytes lie behind the data.
Outcome Parse(const Bytes& inBytes, std::size_t inSpareBytes) {
    const TestHost host;
    StartCodeTable table;
    const std::size_t capacity = inBytes.size() + inSpareBytes;
    const auto buffer =
        CodedPictureBuffer::Create(static_cast<std::uint32_t>(capacity), table, host.Services());
    buffer->Append(Bytes(capacity, 0xFF));
    buffer->SetSize(0);
    buffer->ResetScan();
    buffer->Append(inBytes);
    static_cast<void>(buffer->ScanForPictureEnd());
    buffer->SwapWords();

    BitReader reader(*buffer);
    DecodingParameters parameters;
    Outcome outcome{};
    static_cast<void>(reader.NextStartCode());
    outcome.hasSequence = ParseSequenceHeader(reader, parameters) == DecodeStatus::Ok;
    static_cast<void>(reader.NextStartCode());
    ReadPictureIdentity(reader, parameters.picture);
    outcome.hasPicture = ParsePictureHeader(reader, parameters) == DecodeStatus::Ok;
    outcome.nextCode = reader.NextStartCode();
    parameters.matrices.Load(parameters.loads);
    outcome.inForce = parameters;
    outcome.fCode = parameters.picture.fCode;
    return outcome;
}

}  // namespace

void FuzzOne(Choices& ioChoices) {
    constexpr std::size_t kMostBytes = 2048;
    constexpr std::size_t kSpareBytes = 1024;
    const std::size_t missing = ioChoices.Word();
    Bytes bytes = ioChoices.Rest();
    bytes.resize(std::min(bytes.size() - std::min(bytes.size(), missing), kMostBytes));
    if (bytes.empty()) return;
    EXPECT_TRUE(Parse(bytes, 0) == Parse(bytes, kSpareBytes));
}

}  // namespace Vexmora::Test
