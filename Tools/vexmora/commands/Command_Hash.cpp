// vexmora hash: one digest a frame, the same for every order of decoding.
#include <fmt/core.h>
#include <md5.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <random>

#include "commands/Commands.h"
#include "files/StandardOutput.h"
#include "movies/FrameNumbers.h"
#include "pictures/PlanarSamples.h"
#include "reports/DamageSummary.h"
#include "terminal/FrameProgress.h"

namespace VexmoraCommand {

namespace {

using Digest = std::array<std::uint8_t, MD5_DIGEST_LENGTH>;

// MD5 of the samples as a raw planar file would hold them.
Digest DigestOf(const VexmoraHost::Picture& inPicture) {
    MD5_CTX context;
    MD5Init(&context);
    ForEachRow(inPicture, [&](const std::uint8_t* inRow, std::uint32_t inBytes) {
        MD5Update(&context, inRow, inBytes);
    });
    Digest digest{};
    MD5Final(digest.data(), &context);
    return digest;
}

// Positions in the range, in the order in which they are to be decoded.
std::vector<std::uint32_t> OrderOf(const HashOptions& inOptions, std::uint32_t inCount) {
    std::vector<std::uint32_t> order(inCount);
    std::iota(order.begin(), order.end(), 0U);
    if (inOptions.order == DecodeOrder::Reverse) std::reverse(order.begin(), order.end());
    if (inOptions.order == DecodeOrder::Random) {
        std::mt19937_64 random(inOptions.seed);
        for (std::size_t left = order.size(); left > 1; --left)
            std::swap(order[left - 1], order[random() % left]);
    }
    return order;
}

void WriteDigest(std::uint32_t inFrame, const Digest& inDigest) {
    std::string line = fmt::format("{}, ", inFrame);
    for (const unsigned char byte : inDigest) line += fmt::format("{:02x}", byte);
    WriteOutput(line + "\n");
}

}  // namespace

ExitStatus RunHash(const HashOptions& inOptions) {
    const RecordingFiles recording = FindRecording(inOptions.file, inOptions.opening);
    VexmoraHost::Movie movie = OpenMovie(recording, inOptions.opening);
    const FrameRange range = ParseFrameRange(inOptions.range, inOptions.file, movie.Info().frameCount,
                                             TimesOf(movie, recording, inOptions.opening.quiet));
    std::vector<Digest> digests(range.Count());
    DamageSummary damage;
    {
        FrameProgress work(inOptions.file, range.Count(), inOptions.opening.quiet);
        const bool isRun = inOptions.order == DecodeOrder::Forward;
        VexmoraHost::FrameRun run = movie.Run(range.first, isRun ? range.Count() : 0, inOptions.scale);
        for (const std::uint32_t position : OrderOf(inOptions, range.Count())) {
            const std::uint32_t frame = range.first + position;
            const VexmoraHost::SharedPicture picture =
                isRun ? run.Next() : movie.Frame(frame, inOptions.scale);
            digests[position] = DigestOf(*picture);
            damage.Note(frame, *picture);
            work.Step();
        }
    }
    for (std::uint32_t position = 0; position < range.Count(); ++position) {
        WriteDigest(range.first + position, digests[position]);
    }
    FlushOutput();
    return damage.Tell(inOptions.file);
}

}  // namespace VexmoraCommand
