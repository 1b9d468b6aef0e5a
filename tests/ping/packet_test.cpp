// Echo packets byte for byte: the worked packets, the checksum against the standard Internet
// checksum, and the two tag layouts.

#include <gtest/gtest.h>

#include <cstring>

#include "ping/icmp.h"
#include "ping/ping_fixture.h"
#include "settings/settings.h"
#include "support/posix_peer.h"

namespace {

using peer::Bytes;

class EchoPacket : public ::testing::Test {
protected:
    void SetUp() override { ping_testing::ResetPingState(); }
    void TearDown() override { ping_testing::ResetPingState(); }

    // Builds an echo of data in a buffer pre-filled with 0xEE; returns the packet and checks
    // that exactly one zero byte was put after it and nothing beyond.
    Bytes Build(const char* data, uint32_t sequence, uint8_t type = 8) {
        uint8_t buffer[ping::kEchoBufferSize];
        memset(buffer, 0xEE, sizeof buffer);
        auto length = (int16_t)strlen(data);
        memcpy(buffer, data, (size_t)length);
        int16_t size = ping::BuildEcho(buffer, ping::MakeEchoTag(length, sequence), length, type);
        EXPECT_EQ(buffer[size], 0) << "a zero byte follows the packet";
        EXPECT_EQ(buffer[size + 1], 0xEE) << "nothing is written past it";
        return Bytes(buffer, buffer + size);
    }
};

// (The normal-mode packet is checked on the wire, end to end.)
TEST_F(EchoPacket, TheWorkedPacketsComeOutByteForByte) {
    Settings.Ping.Page = 1;
    EXPECT_EQ(Build("hello", 7), (Bytes{0x08, 0x00, 0xE8, 0x2C, 0x5C, 0x00, 0x70, 0x00, 0x68, 0x65, 0x6C, 0x6C, 0x6F,
                                        0x00, 0x00, 0x00}));
    EXPECT_EQ(ping::Run.LastTag, 0x0070005Cu);
}

TEST_F(EchoPacket, DataIsPaddedToFourBytesAndEmptyDataGivesTheBareHeader) {
    EXPECT_EQ(Build("", 0).size(), 8u);
    EXPECT_EQ(Build("abcd", 0).size(), 12u);
    Bytes five = Build("abcdefghi", 0);
    ASSERT_EQ(five.size(), 20u);
    EXPECT_EQ(Bytes(five.begin() + 17, five.end()), (Bytes{0, 0, 0}));
    std::string longest(79, 'x');
    EXPECT_EQ(Build(longest.c_str(), 0).size(), 88u);
}

// For every data length and both types, the standard checksum of the whole packet, checksum
// field included, verifies (comes out 0).
TEST_F(EchoPacket, TheStandardInternetChecksumOfEveryPacketVerifies) {
    std::string data;
    for (int length = 0; length < ping::kPingTextSize; ++length) {
        for (uint8_t type : {uint8_t(8), uint8_t(0)}) {
            for (int16_t page : {int16_t(0), int16_t(1)}) {
                Settings.Ping.Page = page;
                Bytes packet = Build(data.c_str(), (uint32_t)(length * 977 + 0xFFF0), type);
                ASSERT_EQ(peer::InternetChecksum(packet), 0) << "length " << length << " type " << (int)type;
            }
        }
        data += (char)((0x7F + length * 13) | 1);  // high bytes too, so the sum wraps often; never NUL
    }
}

TEST_F(EchoPacket, TheChecksumSkipsItsOwnFieldAndATrailingOddByte) {
    Bytes packet = {0x00, 0x00, 0xAB, 0xCD, 0x03, 0x00, 0xC0, 0xC0, 0xFF};
    uint16_t sum = ping::IcmpChecksum(packet.data(), (int16_t)packet.size());
    EXPECT_EQ(sum, (uint16_t)~(0x0300 + 0xC0C0));
    packet[2] = 0x12;
    packet[8] = 0x34;
    EXPECT_EQ(ping::IcmpChecksum(packet.data(), (int16_t)packet.size()), sum);
    // Sums above 0xFFFF fold back in: 0xFFFF + 0xFFFF + 0x0002 = 0x0002 after folding twice.
    Bytes carries = {0xFF, 0xFF, 0, 0, 0xFF, 0xFF, 0x00, 0x02};
    EXPECT_EQ(ping::IcmpChecksum(carries.data(), 8), (uint16_t)~0x0002);
    // A buffer shorter than a header counts only the words it holds.
    EXPECT_EQ(ping::IcmpChecksum(carries.data(), 5), (uint16_t)~0xFFFF);
}

TEST_F(EchoPacket, TagLayouts) {
    // Normal mode: the sequence's low 16 bits under 0xC0C0, low byte first on the wire.
    EXPECT_EQ(ping::MakeEchoTag(5, 0x12345), 0xC0C02345u);
    EXPECT_EQ(ping::Run.LastTag, 0xC0C02345u);
    EXPECT_EQ(ping::MakeEchoTag(79, 0), 0xC0C00000u) << "the length plays no part";
    uint8_t buffer[ping::kEchoBufferSize] = {};
    ping::BuildEcho(buffer, 0xC0C02345u, 0, 8);
    EXPECT_EQ(Bytes(buffer + 4, buffer + 8), (Bytes{0x45, 0x23, 0xC0, 0xC0}));

    // Page mode: 12 bits of sequence, 12 bits of length, then 0xC; bit 0 is left clear.
    Settings.Ping.Page = 1;
    EXPECT_EQ(ping::MakeEchoTag(0x1005, 0x1234), 0x2340005Cu);
    EXPECT_EQ(ping::MakeEchoTag(79, 4095), 0xFFF004FCu);
    EXPECT_EQ(ping::MakeEchoTag(0, 4096), 0x0000000Cu) << "the sequence wraps at 12 bits";
    EXPECT_EQ(ping::Run.LastTag & 1, 0u);
}

}  // namespace
