// The arithmetic of the index: effective frame rate, field order, usable frames and the audio alignment plan,
// each expectation worked out by hand.
#include <gtest/gtest.h>

#include <sstream>
#include <string_view>

#include "Indexer/Indexer_AudioAlignment.h"
#include "Indexer/Indexer_Cadence.h"
#include "Indexer/Indexer_Finish.h"

namespace Vexmora {
namespace {

constexpr std::uint8_t k2997 = 4;  // frame_rate_code

// One record a word: the type, then 'p' progressive_frame, 't' top_field_first, 'r' repeat_first_field,
// 'b' broken_link; "-" is a hole.
IndexerState StateOf(std::string_view inPictures, bool inProgressiveSequence = false) {
    IndexerState state;
    state.sequenceSeen = state.mpeg2 = true;
    state.progressiveSequence = inProgressiveSequence;
    state.frameRateCode = k2997;
    state.pictureStructureWord = kFramePictureWord;
    std::istringstream words{std::string(inPictures)};
    for (std::string word; words >> word;) {
        const auto type = std::string_view("-IPB").find(word[0]);
        unsigned flags = static_cast<unsigned>(type) << kPictureCodingTypeShift;
        const auto set = [&](char inLetter, unsigned inBit) {
            if (word.find(inLetter) != std::string::npos) flags |= inBit;
        };
        set('p', kProgressiveFrameBit);
        set('t', kTopFieldFirstBit);
        set('r', kRepeatFirstFieldBit);
        set('b', kBrokenLinkBit);
        FrameRecord record{};
        record.flags = static_cast<std::uint16_t>(flags);
        record.size = type == 0 ? 0 : 100;
        state.pictureCount += type != 0;
        state.records.push_back(record);
        state.picturePts.push_back(type == 0 ? 0 : kNoPts);
    }
    return state;
}

TEST(EffectiveFrameRate, UndoesPulldownOfTheGroupBehindTheSecondIntraPicture) {
    const struct {
        const char* pictures;
        std::uint32_t rate;
        bool isProgressiveSequence = false;
    } kRows[] = {
        // Fields of the four pictures from the second I on: 3+2+3+2 = 10, 29970 * 8 / 10 = 23976.
        {"I Bp Iptr Bp Bptr Pp Ip", 23976},
        // Without pulldown 2+2+2+2 = 8.
        {"I Bp Ip Bp Bp Pp Ip", 29970},
        // Progressive sequence, frames shown 1+2+3+2 = 8 times: 29970 * 8 / 8 / 2 = 14985.
        {"Ip Bp Ip Bpr Bptr Ppr Ip", 14985, true},
        // An interlaced frame cannot repeat a field: the nominal rate stands.
        {"I Bp Iptr Br Bptr Pp Ip", 29970},
        // The group must end before the last record.
        {"I Bp Iptr Bp Bptr Pp", 29970},
        // Groups with holes are passed over, three times.
        {"I I - P P I P I Ipr Bp Bpr Bp P", 23976},
        {"I I - P P I I - P P I I - P P P", 0},
    };
    for (const auto& row : kRows) {
        const IndexerState state = StateOf(row.pictures, row.isProgressiveSequence);
        EXPECT_EQ(EffectiveFrameRate(state), row.rate) << row.pictures;
    }
}

TEST(PictureTicks, RepeatedFieldsLast) {
    const auto ticks = [](std::string_view inPicture, bool inProgressiveSequence) {
        const IndexerState state = StateOf(inPicture, inProgressiveSequence);
        return PictureTicks90k(state, state.records[0]);
    };
    EXPECT_EQ(ticks("Ir", false), 3003u) << "not in an interlaced frame";
    EXPECT_EQ(ticks("Ipr", false), 4504u);
    EXPECT_EQ(ticks("Ip", true), 3003u);
    EXPECT_EQ(ticks("Ipr", true), 6006u);
    EXPECT_EQ(ticks("Iptr", true), 9009u);
}

TEST(FieldOrder, FollowsTheMajorityUnlessPulldownAlternates) {
    const struct {
        const char* pictures;
        std::uint32_t order;
    } kRows[] = {
        {"It Bt Bt Pt Bt", kFieldOrderTopFirst},
        {"I B B P B", kFieldOrderBottomFirst},
        // Pairs that alternate to the end, or no such pairs at all.
        {"It Bt B P Bt Bt P B It Bt", kFieldOrderMixed},
        {"It B Bt P Bt B Pt B It B Bt", kFieldOrderMixed},
        // A run that breaks: 7 top, 3 bottom is top; 3 top, 9 bottom is not below three times, so bottom.
        {"It Bt B P Bt Bt Pt Bt It B", kFieldOrderTopFirst},
        {"It Bt B P B B P B I B B Bt", kFieldOrderBottomFirst},
        {"It Bt B P B B Pt B B", kFieldOrderTopFirst},  // 3 top, 6 bottom
        // A run that breaks with as many of the one as of the other.
        {"It Bt B P B B Pt Bt It B", kFieldOrderMixed},
        // A hole sends the search on its way again: the run behind it holds to the end.
        {"It Bt B P - Bt Pt B B It Bt B I", kFieldOrderMixed},
    };
    for (const auto& row : kRows) EXPECT_EQ(FieldOrder(StateOf(row.pictures)), row.order) << row.pictures;
    EXPECT_EQ(FieldOrder(StateOf("It Bt", true)), kFieldOrderProgressive);
}

TEST(UsableFrames, CutsTrailingPicturesWhoseAnchorNeverCame) {
    // Display order I B P | hole: the B at 4 needs the P at 5 that is a hole, and 3 is a hole too.
    IndexerState state = StateOf("I B P - B - B");
    for (std::size_t i = 0; i < state.records.size(); ++i) {
        state.records[i].flags = static_cast<std::uint16_t>(state.records[i].flags | i);
    }
    state.records[4].pastRefDelta = -2;
    state.records[4].futureRefDelta = 1;
    const UsableFrames frames = FindUsableFrames(state, false);
    EXPECT_EQ(frames.first, 0);
    EXPECT_EQ(frames.last, 2);
}

TEST(UsableFrames, BeginBehindHolesAndBrokenLinksAndInATransportStreamAtTheFirstIntraPicture) {
    std::string tooMany;
    for (int i = 0; i < 31; ++i) tooMany += "Bb ";
    const struct {
        std::string pictures;
        std::uint32_t first;
        bool isTransport = false;
        bool isClosed = false;
    } kRows[] = {{"- - I P P", 2}, {"Bb Bb I P P", 2},   {tooMany + "I P", 0},
                 {"B B I P", 0},   {"B B I P", 2, true}, {"B B I P", 0, true, true}};
    for (const auto& row : kRows) {
        IndexerState state = StateOf(row.pictures);
        state.firstGopClosed = row.isClosed;
        EXPECT_EQ(FindUsableFrames(state, row.isTransport).first, row.first) << row.pictures;
    }
}

// Time stamps of pictures of 3003 ticks and of audio packets of 2160, from where they begin.
IndexerState WithPts(std::size_t inPictures, std::int64_t inVideoStart, std::size_t inAudioPackets,
                     std::int64_t inAudioStart) {
    std::string pictures = "I";
    for (std::size_t i = 1; i < inPictures; ++i) pictures += " P";
    IndexerState state = StateOf(pictures);
    for (std::size_t i = 0; i < inPictures; ++i) {
        state.picturePts[i] = inVideoStart + static_cast<std::int64_t>(i) * 3003;
    }
    for (std::size_t i = 0; i < inAudioPackets; ++i) {
        state.audioPts.push_back(inAudioStart + static_cast<std::int64_t>(i) * 2160);
    }
    return state;
}

using Plan = std::vector<AudioAlignmentRun>;
Plan PlanOf(IndexerState inState) {
    return BuildAlignmentPlan(inState);
}

TEST(AudioAlignment, RunsOfBothAndOfEachAlone) {
    // 10 pictures last 30030 ticks, 13 packets 28080: the audio ends 1950 ticks before the video.
    EXPECT_EQ(PlanOf(WithPts(10, 90000, 13, 90000)), (Plan{{28079, kRunBoth}, {1950, kRunVideoOnly}}));
    // Audio that starts 9000 ticks early: (2, 9000), then both until the audio ends at 81000 + 28080 - 1.
    EXPECT_EQ(PlanOf(WithPts(10, 90000, 13, 81000)),
              (Plan{{9000, kRunAudioOnly}, {19079, kRunBoth}, {10950, kRunVideoOnly}}));
    // Video that starts early, and audio that goes on after it.
    EXPECT_EQ(PlanOf(WithPts(10, 90000, 20, 99000)),
              (Plan{{9000, kRunVideoOnly}, {21029, kRunBoth}, {22170, kRunAudioOnly}}));
    // No overlap at all.
    EXPECT_EQ(PlanOf(WithPts(10, 90000, 2, 9000)), (Plan{{4319, kRunAudioOnly}}));
}

TEST(AudioAlignment, CompletesPictureTimesFromTheirNeighbours) {
    IndexerState state = WithPts(10, 90000, 13, 90000);
    for (const std::size_t missing : {0u, 1u, 2u, 5u, 9u}) state.picturePts[missing] = kNoPts;
    EXPECT_EQ(PlanOf(state), PlanOf(WithPts(10, 90000, 13, 90000)));
}

TEST(AudioAlignment, AGapInTheAudioBecomesVideoOnly) {
    // Video 89000 to 149059; audio 90000 to 111599, then a gap just above a packet, then 113761 to 135360.
    IndexerState state = WithPts(20, 89000, 10, 90000);
    for (int i = 0; i < 10; ++i) state.audioPts.push_back(113761 + i * 2160);
    EXPECT_EQ(PlanOf(state), (Plan{{1000, kRunVideoOnly},
                                   {21599, kRunBoth},
                                   {2161, kRunVideoOnly},
                                   {21599, kRunBoth},
                                   {13699, kRunVideoOnly}}));
}

TEST(AudioAlignment, IsEmptyWhenTheTimesAreNotToBeBelieved) {
    EXPECT_TRUE(PlanOf(WithPts(10, 90000, 1, 90000)).empty());
    // 61 frames of audio before the video are too many; 59 are not.
    EXPECT_TRUE(PlanOf(WithPts(10, 90000 + 61 * 3003, 100, 90000)).empty());
    EXPECT_FALSE(PlanOf(WithPts(10, 90000 + 59 * 3003, 100, 90000)).empty());
    // The twelfth break in the audio empties the plan, the eleventh does not.
    for (const int breaks : {11, 12}) {
        IndexerState state = WithPts(60, 0, 20, 0);
        for (int i = 0; i < breaks; ++i) state.audioPts.push_back(state.audioPts.back() + 9000);
        for (int i = 0; i < 5; ++i) state.audioPts.push_back(state.audioPts.back() + 2160);
        state.picturePts[0] = 0;
        EXPECT_EQ(PlanOf(state).empty(), breaks == 12) << breaks;
    }
}

}  // namespace
}  // namespace Vexmora
