// The arithmetic of the index: effective frame rate, field order, usable frames and the audio alignment plan,
// each expectation worked out by hand.
#include <gtest/gtest.h>

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
    FrameRecord record{};
    const auto add = [&] {
        state.records.push_back(record);
        state.picturePts.push_back(PictureCodingType(record) == 0 ? 0 : kNoPts);
        record = {};
    };
    for (const char letter : inPictures) {
        const auto set = [&record](std::uint16_t inBit) {
            record.flags = static_cast<std::uint16_t>(record.flags | inBit);
        };
        switch (letter) {
            case ' ':
                add();
                break;
            case 'p':
                set(kProgressiveFrameBit);
                break;
            case 't':
                set(kTopFieldFirstBit);
                break;
            case 'r':
                set(kRepeatFirstFieldBit);
                break;
            case 'b':
                set(kBrokenLinkBit);
                break;
            case '-':
                break;
            default:
                set(static_cast<std::uint16_t>((std::string_view("IPB").find(letter) + 1)
                                               << kPictureCodingTypeShift));
                record.size = 100;
                ++state.pictureCount;
        }
    }
    add();
    return state;
}

TEST(EffectiveFrameRate, UndoesPulldownOfTheGroupBehindTheSecondIntraPicture) {
    // Fields of the four pictures from the second I on: 3+2+3+2 = 10, 29970 * 8 / 10 = 23976.
    EXPECT_EQ(EffectiveFrameRate(StateOf("I Bp Iptr Bp Bptr Pp Ip")), 23976u);
    // Without pulldown 2+2+2+2 = 8.
    EXPECT_EQ(EffectiveFrameRate(StateOf("I Bp Ip Bp Bp Pp Ip")), 29970u);
    // Progressive sequence, frames shown 1+2+3+2 = 8 times: 29970 * 8 / 8 / 2 = 14985.
    EXPECT_EQ(EffectiveFrameRate(StateOf("Ip Bp Ip Bpr Bptr Ppr Ip", true)), 14985u);
    // An interlaced frame cannot repeat a field: the nominal rate stands.
    EXPECT_EQ(EffectiveFrameRate(StateOf("I Bp Iptr Br Bptr Pp Ip")), 29970u);
    // The group must end before the last record.
    EXPECT_EQ(EffectiveFrameRate(StateOf("I Bp Iptr Bp Bptr Pp")), 29970u);
}

TEST(EffectiveFrameRate, PassesOverGroupsWithHolesThreeTimes) {
    EXPECT_EQ(EffectiveFrameRate(StateOf("I I - P P I P I Ipr Bp Bpr Bp P")), 23976u);
    EXPECT_EQ(EffectiveFrameRate(StateOf("I I - P P I I - P P I I - P P P")), 0u);
}

TEST(EffectiveFrameRate, AppliesTheRateExtension) {
    IndexerState state = StateOf("I P");
    state.frameRateExtN = 1;
    state.frameRateExtD = 2;
    EXPECT_EQ(EffectiveFrameRate(state), 29970u * 2 / 3);
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
    EXPECT_EQ(FieldOrder(StateOf("It Bt Bt Pt Bt")), kFieldOrderTopFirst);
    EXPECT_EQ(FieldOrder(StateOf("I B B P B")), kFieldOrderBottomFirst);
    EXPECT_EQ(FieldOrder(StateOf("It Bt", true)), kFieldOrderProgressive);
    // Pairs that alternate to the end, or no such pairs at all.
    EXPECT_EQ(FieldOrder(StateOf("It Bt B P Bt Bt P B It Bt")), kFieldOrderMixed);
    EXPECT_EQ(FieldOrder(StateOf("It B Bt P Bt B Pt B It B Bt")), kFieldOrderMixed);
    // A run that breaks: 7 top, 3 bottom is top; 3 top, 9 bottom is not below three times, so bottom.
    EXPECT_EQ(FieldOrder(StateOf("It Bt B P Bt Bt Pt Bt It B")), kFieldOrderTopFirst);
    EXPECT_EQ(FieldOrder(StateOf("It Bt B P B B P B I B B Bt")), kFieldOrderBottomFirst);
    EXPECT_EQ(FieldOrder(StateOf("It Bt B P B B Pt B B")), kFieldOrderTopFirst);  // 3 top, 6 bottom
    // A run that breaks with as many of the one as of the other.
    EXPECT_EQ(FieldOrder(StateOf("It Bt B P B B Pt Bt It B")), kFieldOrderMixed);
    // A hole sends the search on its way again: the run behind it holds to the end.
    EXPECT_EQ(FieldOrder(StateOf("It Bt B P - Bt Pt B B It Bt B I")), kFieldOrderMixed);
}

UsableFrames UsableOf(IndexerState inState, bool inIsTransport = false) {
    return FindUsableFrames(inState, inIsTransport);
}

TEST(UsableFrames, CutsTrailingPicturesWhoseAnchorNeverCame) {
    // Display order I B P | hole: the B at 4 needs the P at 5 that is a hole, and 3 is a hole too.
    IndexerState state = StateOf("I B P - B - B");
    for (std::size_t i = 0; i < state.records.size(); ++i) {
        state.records[i].flags = static_cast<std::uint16_t>(state.records[i].flags | i);
    }
    state.records[4].pastRefDelta = -2;
    state.records[4].futureRefDelta = 1;
    const UsableFrames frames = UsableOf(state);
    EXPECT_EQ(frames.first, 0);
    EXPECT_EQ(frames.last, 2);
}

TEST(UsableFrames, SkipsLeadingHolesAndBrokenLinks) {
    EXPECT_EQ(UsableOf(StateOf("- - I P P")).first, 2);
    EXPECT_EQ(UsableOf(StateOf("Bb Bb I P P")).first, 2);
    std::string thirtyOne;
    for (int i = 0; i < 31; ++i) thirtyOne += "Bb ";
    EXPECT_EQ(UsableOf(StateOf(thirtyOne + "I P")).first, 0);
}

TEST(UsableFrames, StartsATransportStreamAtItsFirstIntraPictureUnlessTheGopIsClosed) {
    EXPECT_EQ(UsableOf(StateOf("B B I P"), true).first, 2);
    EXPECT_EQ(UsableOf(StateOf("B B I P"), false).first, 0);
    IndexerState closed = StateOf("B B I P");
    closed.firstGopClosed = true;
    EXPECT_EQ(UsableOf(closed, true).first, 0);
}

// Two streams of time stamps that both begin at inAudioStart and inVideoStart.
IndexerState WithPts(std::size_t inPictures, std::int64_t inVideoStart, std::size_t inAudioPackets,
                     std::int64_t inAudioStart, std::int64_t inAudioStep = 2160) {
    std::string pictures = "I";
    for (std::size_t i = 1; i < inPictures; ++i) pictures += " P";
    IndexerState state = StateOf(pictures);
    for (std::size_t i = 0; i < inPictures; ++i) {
        state.picturePts[i] = inVideoStart + static_cast<std::int64_t>(i) * 3003;
    }
    for (std::size_t i = 0; i < inAudioPackets; ++i) {
        state.audioPts.push_back(inAudioStart + static_cast<std::int64_t>(i) * inAudioStep);
    }
    return state;
}

std::vector<AudioAlignmentRun> PlanOf(IndexerState inState) {
    return BuildAlignmentPlan(inState);
}

using Plan = std::vector<AudioAlignmentRun>;

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
    EXPECT_EQ(state.picturePts[0], kNoPts) << "PlanOf works on a copy";
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
