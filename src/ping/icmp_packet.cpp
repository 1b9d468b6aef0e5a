// Echo packets: the tag word that names an echo, the packet layout, and its checksum.
//
// A packet is the 8-byte header (type, code 0, checksum high byte first, tag low byte first)
// followed by the data text padded with zero bytes to a multiple of four. Replies are matched
// on the whole tag word, so its layout matters more than the ICMP identifier and sequence
// fields it happens to overlay.

#include <cstring>

#include "ping/icmp.h"
#include "settings/settings.h"

namespace ping {

namespace {

constexpr uint32_t kNormalTagMark = 0xC0C00000u;  // bytes 6 and 7 of a normal echo
constexpr uint32_t kPageTagMark = 0xCu;           // low nibble of a page-mode tag

void PutWordHighFirst(uint8_t* at, uint16_t word) {
    at[0] = (uint8_t)(word >> 8);
    at[1] = (uint8_t)word;
}

}  // namespace

// Normal mode: 0xC0C0 over the sequence's low 16 bits. Page mode: the sequence in the top 12
// bits, the message length in the next 12 and 0xC below; bit 0 stays free for the listener's
// acknowledgement.
uint32_t MakeEchoTag(int16_t dataLength, uint32_t sequence) {
    uint32_t tag;
    if (Settings.Ping.Page)
        tag = ((sequence & 0xFFF) << 20) | (((uint32_t)(uint16_t)dataLength & 0xFFF) << 4) | kPageTagMark;
    else
        tag = kNormalTagMark | (sequence & 0xFFFF);
    Run.LastTag = tag;
    return tag;
}

// The Internet checksum with the checksum field left out: the word at offset 0, then the words
// from offset 4 on. For a packet of 8 bytes or more that is (length - 8) / 2 + 2 words, so a
// trailing odd byte is not counted. Shorter buffers count only the words they hold.
uint16_t IcmpChecksum(const uint8_t* packet, int16_t length) {
    uint32_t sum = 0;
    auto add = [&](int offset) {
        sum += (uint32_t)(packet[offset] << 8 | packet[offset + 1]);
        if (sum > 0xFFFF) sum -= 0xFFFF;
    };
    if (length >= 2) add(0);
    for (int offset = 4; offset + 1 < length; offset += 2) add(offset);
    return (uint16_t)~sum;
}

// The data lies at the start of buffer; it is padded, moved up behind the header, and the
// header is written in front of it. The buffer must hold 8 + the padded length + 1 bytes.
int16_t BuildEcho(uint8_t* buffer, uint32_t tag, int16_t dataLength, uint8_t type) {
    int length = dataLength < 0 ? 0 : dataLength;
    int padded = (length + 3) & ~3;
    memset(buffer + length, 0, (size_t)(padded - length));
    memmove(buffer + kIcmpHeaderSize, buffer, (size_t)padded);
    buffer[kIcmpHeaderSize + padded] = 0;
    buffer[0] = type;
    buffer[1] = 0;
    PutWordHighFirst(buffer + 2, 0);
    for (int i = 0; i < 4; ++i) buffer[4 + i] = (uint8_t)(tag >> (8 * i));
    auto packetLength = (int16_t)(kIcmpHeaderSize + padded);
    PutWordHighFirst(buffer + 2, IcmpChecksum(buffer, packetLength));
    return packetLength;
}

}  // namespace ping
