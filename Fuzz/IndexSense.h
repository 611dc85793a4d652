// What every index that the library builds says of itself, whatever the stream.
#pragma once

#include <gtest/gtest.h>

#include <cstring>

#include "Support/StreamBuilder.h"

namespace Vexmora::Test {

/// An index file taken apart: records that are not there whole are left out.
struct IndexFileContent {
    explicit IndexFileContent(const Bytes& inFile)
        : records((inFile.size() - sizeof header) / sizeof(FrameRecord)) {
        std::memcpy(&header, inFile.data(), sizeof header);
        for (std::size_t i = 0; i < records.size(); ++i)
            std::memcpy(&records[i], &inFile[sizeof header + i * sizeof(FrameRecord)], sizeof(FrameRecord));
    }
    IndexHeader header;
    std::vector<FrameRecord> records;
};

inline void ExpectSense(const IndexHeader& inHeader, const std::vector<FrameRecord>& inRecords) {
    const auto count = static_cast<std::int64_t>(inRecords.size());
    EXPECT_EQ(std::uint32_t{inHeader.version}, kIndexVersion);  // the packed fields have no address to take
    EXPECT_EQ(std::int64_t{inHeader.recordCount}, count);
    EXPECT_LT(std::int64_t{inHeader.firstFrame}, count);
    EXPECT_LT(std::int64_t{inHeader.lastFrame}, count);
    for (std::int64_t frame = 0; frame < count; ++frame) {
        const FrameRecord& record = inRecords[static_cast<std::size_t>(frame)];
        if (!IsValid(record)) continue;
        EXPECT_LE(std::uint32_t{record.size}, std::uint32_t{inHeader.maxPictureSize});
        EXPECT_LE(record.offset + record.size, std::uint64_t{inHeader.streamLength});
        for (const std::int64_t reference : {frame + record.pastRefDelta, frame + record.futureRefDelta}) {
            EXPECT_GE(reference, 0);
            EXPECT_LT(reference, count);
        }
    }
}

inline void ExpectSense(const IndexResult& inIndex) {
    if (inIndex.created != Vexmora_Ok) return;
    if (inIndex.done == Vexmora_Ok) return ExpectSense(inIndex.header, inIndex.records);
    EXPECT_EQ(inIndex.done, Vexmora_Unsupported);
    EXPECT_EQ(std::uint32_t{inIndex.header.streamKind}, kStreamKindFailed);
    EXPECT_TRUE(inIndex.records.empty());
}

}  // namespace Vexmora::Test
