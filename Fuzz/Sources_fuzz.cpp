// Files of arbitrary bytes as recordings of one or two parts: they are refused with an error, or their video
// reads the same from any piece on.
#include <gtest/gtest.h>

#include <algorithm>

#include "FuzzTarget.h"
#include "Support/TestFiles.h"
#include "VexmoraHost/Error.h"
#include "sources/VideoReader.h"

namespace Vexmora::Test {
namespace {

using namespace VexmoraHost;

struct Piece {
    explicit Piece(const VideoPiece& inPiece)
        : position(inPiece.position), bytes(inPiece.bytes.begin(), inPiece.bytes.end()), pts(inPiece.pts) {}
    std::uint64_t position;
    Bytes bytes;
    std::optional<std::int64_t> pts;
    friend bool operator==(const Piece&, const Piece&) = default;
};

void ReadEverywhere(const JoinedFiles& inFiles) {
    const auto packaging = FindPackaging(inFiles);
    const ChosenVideo chosen = ChooseVideo(packaging, {}, {});
    StreamAccount account;
    std::vector<Piece> pieces;
    VideoPiece piece;
    const auto scanner = MakeScanningReader(inFiles, packaging, chosen, account);
    while (scanner->Next(piece)) pieces.emplace_back(piece);
    EXPECT_LE(account.skippedBytes, inFiles.Size());
    const auto reader = MakeRandomReader(inFiles, packaging, account);
    for (std::size_t from = pieces.size(); from-- > 0;) {
        reader->Seek(pieces[from].position);
        for (std::size_t at = from; at < std::min(from + 3, pieces.size()); ++at) {
            EXPECT_TRUE(reader->Next(piece) && Piece(piece) == pieces[at]) << from << ' ' << at;
        }
    }
    for (const std::uint64_t anywhere : {inFiles.Size() / 2, inFiles.Size(), ~std::uint64_t{3}}) {
        reader->Seek(anywhere);
        for (int at = 0; at < 3 && reader->Next(piece); ++at) EXPECT_FALSE(piece.bytes.empty());
    }
}

}  // namespace

void FuzzOne(Choices& ioChoices) {
    static const TemporaryFolder folder;
    const std::size_t cut = ioChoices.Word();
    const Bytes bytes = ioChoices.Rest();
    const auto middle = bytes.begin() + static_cast<std::ptrdiff_t>(std::min(cut, bytes.size()));
    WriteAll(folder / "one", Bytes(bytes.begin(), middle));
    WriteAll(folder / "two", Bytes(middle, bytes.end()));
    try {
        ReadEverywhere(JoinedFiles({folder / "one", folder / "two"}));
    } catch (const Error& error) {
        EXPECT_EQ(error.Status(), Vexmora_Unsupported) << error.what();
    }
}

}  // namespace Vexmora::Test
