// The search for packets that tell something, of every table, against the plain definition.
#include <gtest/gtest.h>

#include "Primitives/PrimitiveSupport.h"

namespace Vexmora::Test {
namespace {

constexpr unsigned kPid = 0x123;
constexpr std::size_t kPacket = 188;

QuietPackets Expected(const Bytes& inPackets) {
    QuietPackets quiet{0, false};
    for (auto packet = inPackets.begin(); packet != inPackets.end(); packet += kPacket, ++quiet.count) {
        const unsigned pid = (packet[1] & 0x1FU) << 8 | packet[2];
        const bool startsUnit = (packet[1] & 0x40) != 0;
        if (packet[0] != 0x47 || startsUnit || pid == 0) break;
        if (pid != kPid) continue;
        const bool hasError = (packet[1] & 0x80) != 0;
        if (hasError || (packet[3] & 0x30) != 0x10 || packet[187] == 0) break;
        bool isQuiet = true;
        for (auto at = packet + 4; at + 1 != packet + kPacket; ++at) {
            const bool isLate = at - packet - 4 >= 150;
            if (at[0] == 0 && at[1] == 0 && (isLate || (at[2] == 1 && (at[3] == 0 || at[3] > 0xAF))))
                isQuiet = false;
        }
        if (!isQuiet) break;
        quiet.hasVideo = true;
    }
    return quiet;
}

TEST(QuietPackets, RunsEndWhereAPacketTellsSomething) {
    Random random;
    std::size_t longest = 0;
    for (int run = 0; run < 4000; ++run) {
        Bytes packets(kPacket * static_cast<std::size_t>(random.Between(0, 12)));
        for (std::size_t at = 0; at < packets.size(); at += kPacket) {
            const auto packet = packets.begin() + static_cast<long>(at);
            for (std::size_t i = 4; i < kPacket; ++i) packet[static_cast<long>(i)] = random.Byte();
            const unsigned pid = random.OneIn(4) ? 0x124 : random.OneIn(20) ? 0 : kPid;
            packet[0] = random.OneIn(50) ? 0x46 : 0x47;
            packet[1] =
                static_cast<std::uint8_t>(pid >> 8 | (random.OneIn(30) ? 0x40U << random.Between(0, 1) : 0U));
            packet[2] = static_cast<std::uint8_t>(pid);
            packet[3] = static_cast<std::uint8_t>(random.Byte() & (random.OneIn(30) ? 0xFF : 0xCF)) | 0x10;
            if (packet[187] == 0 && !random.OneIn(20)) packet[187] = 5;
            if (!random.OneIn(3)) continue;
            // A start code, of a slice more often than not, or only zeros.
            const std::uint8_t code[] = {0, 0, random.OneIn(4) ? std::uint8_t{3} : std::uint8_t{1},
                                         static_cast<std::uint8_t>(random.OneIn(5) ? random.Byte() : 1)};
            std::copy_n(code, 4,
                        packet + (random.OneIn(2) ? random.Between(145, 184) : random.Between(4, 184)));
        }
        const QuietPackets expected = Expected(packets);
        longest = std::max(longest, expected.count);
        const std::size_t count = packets.size() / kPacket;
        for (const PrimitiveTable* table : RunnableTables()) {
            ASSERT_EQ(table->passQuietPackets(packets.data(), count, kPid), expected);
        }
    }
    EXPECT_GE(longest, 10u);
}

}  // namespace
}  // namespace Vexmora::Test
