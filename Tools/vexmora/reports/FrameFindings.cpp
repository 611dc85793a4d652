// Sorting frames by what is wrong with them, and counting what the index lacks.
#include "reports/FrameFindings.h"

#include <tuple>

namespace VexmoraCommand {

namespace {

using VexmoraHost::Movie;
using VexmoraHost::Picture;
using VexmoraHost::PictureDamage;

Finding FindingOf(const PictureDamage& inDamage) {
    if (inDamage.standsIn) return Finding::Missing;
    if (inDamage.status != Vexmora_Ok) return Finding::Undecodable;
    if (inDamage.macroblocks > 0) return Finding::Damaged;
    if (inDamage.inherited > 0) return Finding::Inherited;
    return Finding::Sound;
}

bool Continues(const FindingRange& inRange, const FindingRange& inFrame) {
    const auto reason = [](const FindingRange& inOne) {
        return std::tuple(inOne.finding, inOne.status, inOne.standIn);
    };
    return inRange.last + 1 == inFrame.first && reason(inRange) == reason(inFrame);
}

bool LacksReference(const std::vector<Vexmora::FrameRecord>& inRecords, std::size_t inPosition) {
    const Vexmora::FrameRecord& record = inRecords[inPosition];
    const auto isThere = [&](std::int8_t inDelta) {
        const auto position = static_cast<std::int64_t>(inPosition) + inDelta;
        return inDelta != 0 && position >= 0 && position < static_cast<std::int64_t>(inRecords.size()) &&
               IsValid(inRecords[static_cast<std::size_t>(position)]);
    };
    const unsigned type = PictureCodingType(record);
    return (type != Vexmora::kPictureTypeI && !isThere(record.pastRefDelta)) ||
           (type == Vexmora::kPictureTypeB && !isThere(record.futureRefDelta));
}

}  // namespace

std::string_view NameOf(Finding inFinding) {
    constexpr std::array<std::string_view, kFindings> kNames = {"sound", "inherited", "damaged",
                                                                "undecodable", "missing"};
    return kNames[static_cast<std::size_t>(inFinding)];
}

void FrameFindings::Add(std::uint32_t inFrame, const Picture& inPicture) {
    const PictureDamage& damage = inPicture.damage;
    FindingRange frame{.first = inFrame, .last = inFrame, .finding = FindingOf(damage)};
    switch (frame.finding) {
        case Finding::Missing:
            frame.standIn = inPicture.frame;
            break;
        case Finding::Undecodable:
            frame.status = damage.status;
            break;
        case Finding::Damaged:
            frame.macroblocks = damage.macroblocks;
            break;
        default:
            break;
    }
    if (frame.finding != Finding::Missing) ++mStatuses[damage.status];
    Append(frame);
}

void FrameFindings::AddMissing(std::uint32_t inFrame) {
    Append({.first = inFrame, .last = inFrame, .finding = Finding::Missing});
}

void FrameFindings::Append(const FindingRange& inFrame) {
    ++mCounts[static_cast<std::size_t>(inFrame.finding)];
    mMacroblocks += inFrame.macroblocks;
    if (inFrame.finding == Finding::Sound) return;
    if (!mRanges.empty() && Continues(mRanges.back(), inFrame)) {
        mRanges.back().last = inFrame.last;
        mRanges.back().macroblocks += inFrame.macroblocks;
    } else {
        mRanges.push_back(inFrame);
    }
}

IndexFindings FindInIndex(const Movie& inMovie) {
    const std::vector<Vexmora::FrameRecord>& records = inMovie.Records();
    const std::size_t first = inMovie.Info().firstFrame;
    const std::size_t end = first + inMovie.Info().frameCount;
    IndexFindings findings;
    bool isInGap = false;
    for (std::size_t position = 0; position < records.size(); ++position) {
        const bool isValid = IsValid(records[position]);
        if (position < first || position >= end) {
            if (isValid) ++(position < first ? findings.picturesBefore : findings.picturesBehind);
            continue;
        }
        if (!isValid) {
            ++findings.holes;
            if (!isInGap) ++findings.gaps;
        } else {
            if (LacksReference(records, position)) ++findings.missingReferences;
            if ((records[position].flags & Vexmora::kBrokenLinkBit) != 0) ++findings.brokenLinks;
        }
        isInGap = !isValid;
    }
    return findings;
}

}  // namespace VexmoraCommand
