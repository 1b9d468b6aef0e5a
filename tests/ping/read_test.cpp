// Sending echoes and reading replies, through a UDP socket in the place of the raw socket and a
// peer that plays the host: reply matching, timing and statistics, and a page-mode listener's
// messages and acknowledgements.

#include <gtest/gtest.h>

#include <cstring>

#include "ping/icmp.h"
#include "ping/ping_dialog.h"
#include "ping/ping_fixture.h"
#include "platform/clock.h"
#include "settings/settings.h"
#include "shell/shell.h"

namespace {

using peer::Bytes;


class Reply : public ping_testing::PingTest {
protected:
    void SetUp() override {
        PingTest::SetUp();
        ASSERT_TRUE(UseFakeSocket());
        ping::Run.IcmpState = ping::TargetSet;
        ping::Run.PingAuto = 1;  // keeps the socket open after a reply
    }
    // The engine sends an echo of data with the given sequence; returns it as the peer got it.
    Bytes SendEcho(const char* data, uint32_t sequence) {
        auto length = (int16_t)strlen(data);
        EXPECT_EQ(ping::SENDICMP(MainWindow, data, length, ping::MakeEchoTag(length, sequence), ping::Run.IcmpType,
                                 ping::Run.TargetAddress),
                  1);
        return PeerReceives();
    }
    void Read(const Bytes& datagram) {
        PeerSends(datagram);
        EngineReads();
    }
    void Answer(const Bytes& echo) {
        PeerAnswers(echo);
        EngineReads();
    }
};

TEST_F(Reply, OnlyTheAwaitedReplyCountsAndOnlyOnce) {
    Bytes echo = SendEcho("abcde", 1), other = echo;
    other[4] = 0x02;  // the tag of another echo
    Answer(other);
    EXPECT_EQ(ping::Run.RxLength, 0);
    EXPECT_EQ(Field(125), "");
    Answer(echo);
    EXPECT_EQ(ping::Run.PingReceived, 1u);
    EXPECT_EQ(ping::Run.IcmpState, ping::TargetSet | ping::ReplyReceived);
    Answer(echo);  // no request is pending any more: dropped
    EXPECT_EQ(ping::Run.RxLength, 0);
    ping::Run.IcmpState |= ping::RequestPending;
    Answer(echo);  // even then, there may not be more replies than echoes
    EXPECT_EQ(ping::Run.PingReceived, 1u);
    EXPECT_EQ(ping::Run.RxLength, 0);
}

TEST_F(Reply, TypeAndCodeAreNotCheckedButABadChecksumIsShown) {
    Bytes odd = SendEcho("abcde", 1);
    odd[0] = 3;
    odd[1] = 1;  // checksum left as it was: wrong for these bytes
    Read(odd);
    EXPECT_EQ(ping::Run.PingReceived, 1u) << "a NOK reply still counts";
    EXPECT_EQ(Field(125), "127.0.0.1 is alive (0000 ms) Checksum=NOK, Length=16, Seq=00001");
}

TEST_F(Reply, AReplyInPiecesIsWaitedFor) {
    SendEcho("abcde", 1);
    Bytes reply = peer::WithChecksum(Bytes{0, 0, 0, 0, 0x01, 0x00, 0xC0, 0xC0, 'a', 'b', 'c', 'd', 'e', 0, 0, 0});
    Read(Bytes(reply.begin(), reply.begin() + 8));
    EXPECT_EQ(ping::Run.RxLength, 8);
    EXPECT_EQ(ping::Run.PingReceived, 0u);
    Read(Bytes(reply.begin() + 8, reply.end()));
    EXPECT_EQ(ping::Run.PingReceived, 1u);
    EXPECT_EQ(Field(125), "127.0.0.1 is alive (0000 ms) Checksum= OK, Length=16, Seq=00001");
}

// The clock wrapped between send and reply: the send time is negated first, so the round trip
// comes out as now + send time rather than the 272 ms that really passed. The sequence is
// shown as a signed number.
TEST_F(Reply, AWrappedClockAndASignedSequence) {
    platform::UseFakeClock(kNow, 0xFFFFFF00u);
    Bytes echo = SendEcho("abcde", 1);
    platform::AdvanceFakeClock(0, 0x110);
    Answer(echo);
    EXPECT_EQ(Field(125), "127.0.0.1 is alive (4294967056 ms) Checksum= OK, Length=16, Seq=00001");
    EXPECT_EQ(ping::Run.SendTime, 0x100u);
    ping::Run.IcmpState = ping::TargetSet;
    Answer(SendEcho("", 0x8001));
    EXPECT_EQ(Field(125), "127.0.0.1 is alive (0000 ms) Checksum= OK, Length=08, Seq=4294934529");
}

TEST_F(Reply, ShortAndEmptyDatagramsNeverReadPastWhatCame) {
    Bytes echo = SendEcho("abcde", 1);
    Read(Bytes{});
    EXPECT_EQ(ping::Run.RxLength, 0);
    Read(Bytes{0, 0, 0});
    EXPECT_EQ(ping::Run.RxLength, 3) << "kept: too short to match yet";
    Answer(echo);  // runs on behind the 3 stray bytes, so its tag is out of place
    EXPECT_EQ(ping::Run.RxLength, 0);
    EXPECT_EQ(ping::Run.PingReceived, 0u);
    Answer(echo);
    EXPECT_EQ(ping::Run.PingReceived, 1u);
}

TEST_F(Reply, GatheredBytesStayWithinTheBuffer) {
    SendEcho(std::string(79, 'z').c_str(), 1);  // an 88-byte echo: pieces are waited for
    Read(Bytes{0, 0, 0, 0, 0x01, 0x00, 0xC0, 0xC0});
    ping::Run.IcmpLength = 400;  // never reached: the gathering is cut at the buffer's end
    for (int i = 0; i < 3; ++i) Read(Bytes(200, 'q'));
    EXPECT_EQ(ping::Run.RxLength, ping::kIcmpRxBufferSize - 1);
    EXPECT_EQ(ping::Run.RxBuffer[ping::kIcmpRxBufferSize - 1], 0);
}

TEST_F(Reply, LostIsRoundedUpByIntegerDivision) {
    ping::Run.PingSent = 2;
    ping::Run.PingReceived = 1;
    ping::Run.PingTotalTime = 10;
    Bytes echo = SendEcho("abcde", 1);
    platform::AdvanceFakeClock(0, 20);
    Answer(echo);
    EXPECT_EQ(Field(126), "Sent: 3, Received: 2, Lost: 34%, Time_Average 0015 ms");
}

TEST_F(Reply, WithoutShowEchoOnlyTheBareLineIsShownAndHiddenFieldsStayAsTheyAre) {
    ping::Run.ShowEcho = 0;
    SetDlgItemTextA(PingDialog, 126, "old");
    Answer(SendEcho("abcde", 1));
    EXPECT_EQ(Field(125), "127.0.0.1 is alive (0000 ms)");
    EXPECT_EQ(Field(126), "");

    ping::Run.PingVisible = 0;
    SetDlgItemTextA(PingDialog, 125, "old");
    std::string sendLine = Field(124);
    platform::AdvanceFakeClock(60, 0);
    ping::Run.IcmpState = ping::TargetSet;
    Bytes echo = SendEcho("abcde", 2);
    EXPECT_EQ(Field(124), sendLine) << "not the new send line";
    Answer(echo);
    EXPECT_EQ(ping::Run.PingReceived, 2u);
    EXPECT_EQ(Field(125), "old");
}

TEST_F(Reply, ASendDropsAtMostTwoStaleDatagramsFirst) {
    for (uint8_t n : {9, 10, 11}) PeerSends(Bytes(n, n));
    ASSERT_TRUE(peer::WaitReadable((int)ping::Run.IcmpSocket, 2000));
    SendEcho("abcde", 1);
    EXPECT_EQ(ping::PurgeSocket(MainWindow, ping::Run.IcmpSocket), 11);
    EXPECT_EQ(ping::PurgeSocket(MainWindow, ping::Run.IcmpSocket), 0);
    EXPECT_EQ(frontEnd.printed, "");
    PeerSends(Bytes(300, 0));
    ASSERT_TRUE(peer::WaitReadable((int)ping::Run.IcmpSocket, 2000));
    EXPECT_EQ(ping::PurgeSocket(MainWindow, ping::Run.IcmpSocket), 0);
    EXPECT_EQ(ping::PurgeSocket(MainWindow, INVALID_SOCKET), 0);
    EXPECT_EQ(frontEnd.printed, "\nPurgeSocket, socket error [WSA_10040]\nPurgeSocket, and invalid socket !!!\n");
}

TEST_F(Reply, ATransmitErrorClosesTheSocket) {
    SOCKADDR_IN nowhere = ping::Run.TargetAddress;
    nowhere.sin_port = 0;  // no datagram can go to port 0
    EXPECT_EQ(ping::SENDICMP(MainWindow, "abcde", 5, 0, 8, nowhere), 0);
    EXPECT_EQ(frontEnd.printed, " ICMP Transmit error [WSA_10022]\n");
    EXPECT_EQ(ping::Run.IcmpSocket, INVALID_SOCKET);
    EXPECT_EQ(ping::Run.PingSent, 0u);
    EXPECT_EQ(ping::Run.IcmpState, 0);
    EXPECT_EQ(ping::SENDICMP(MainWindow, "abcde", 5, 0, 8, ping::Run.TargetAddress), 0) << "nothing to send on";
}

class Listener : public Reply {
protected:
    void SetUp() override {
        Reply::SetUp();
        Settings.Ping.Page = 1;
        ping::Run.PingListen = 1;
        ping::Run.PingAuto = 0;
    }
    // A page-mode message as a sender builds it, with sequence 7.
    static Bytes Message(uint8_t type, const std::string& text, uint32_t tagBits = 0) {
        uint32_t tag = (7u << 20) | ((uint32_t)text.size() << 4) | 0xC | tagBits;
        Bytes packet = {type, 0, 0, 0, (uint8_t)tag, (uint8_t)(tag >> 8), (uint8_t)(tag >> 16), (uint8_t)(tag >> 24)};
        packet.insert(packet.end(), text.begin(), text.end());
        while (packet.size() % 4) packet.push_back(0);
        return peer::WithChecksum(packet);
    }
    std::string From() { return Stamp() + ", from  127.0.0.1\n"; }
};

// An echo reply is acknowledged with bit 0 of its tag set; an echo request is printed but not
// acknowledged (the system answers those), and neither is an acknowledgement.
TEST_F(Listener, PrintsEachMessageAndAcknowledgesEchoRepliesOnce) {
    Bytes message = Message(0, "hello");
    Read(message);
    Bytes ack = PeerReceives();
    ASSERT_EQ(ack.size(), message.size());
    EXPECT_EQ(ack[4], message[4] | 1);
    Read(Message(8, "ping"));
    Read(Message(0, "done", 1));
    EXPECT_EQ(frontEnd.printed, From() + "hello\n" + From() + "ping\n" + From() + "done\n");
    EXPECT_TRUE(PeerReceives(200).empty());
}

TEST_F(Listener, TheMessageIsCutAtTheLengthItsTagCarriesAndShortOrLongDatagramsAreHarmless) {
    Bytes message = Message(0, "hello");
    message[4] = (uint8_t)((3 << 4) | 0xC);  // says 3 characters
    Read(peer::WithChecksum(message));
    message[4] = (uint8_t)0xFC;
    message[5] = 0x0F;  // says 255 characters: only what came is printed
    Read(message);
    Read(Bytes{0, 0, 0, 0, 0xFF});
    EXPECT_EQ(frontEnd.printed, From() + "hel\n" + From() + "hello\n" + From() + "\n");
    Bytes acks[2] = {PeerReceives(200), PeerReceives(200)};
    EXPECT_TRUE(PeerReceives(200).empty()) << "too short to acknowledge";
    frontEnd.printed.clear();
    Read(Bytes(300, 0));
    EXPECT_EQ(frontEnd.printed, "") << "a listener ignores read errors";
    EXPECT_NE(ping::Run.IcmpSocket, INVALID_SOCKET);
}

}  // namespace
