// The ping engine's process-wide state, with its values at start-up.
#include "ping/icmp.h"

namespace ping {

SOCKET IcmpSocket = INVALID_SOCKET;
char PingHost[kPingTextSize] = "";
char PingData[kPingTextSize] = "";
int16_t PingTimeout = 5;
int16_t PingRetryNumber = 10;
int16_t PingAuto = 0;
int16_t ShowEcho = 1;
int16_t PingVisible = 1;
int16_t PingListen = 0;
uint8_t IcmpType = 8;
uint16_t IcmpState = 0;
uint32_t PingSequence = 0;
uint32_t LastTag = 0;
int16_t IcmpLength = 0;
uint8_t RxBuffer[kIcmpRxBufferSize];
int16_t RxLength = 0;
uint32_t PingSent = 0;
uint32_t PingReceived = 0;
uint32_t PingTotalTime = 0;
uint32_t SendTime = 0;
int16_t WaitedSeconds = 0;
int16_t RetriesLeft = 0;
int16_t PingAlive = 0;
int16_t TitleBlink = 0;
SOCKADDR_IN TargetAddress = {};

}  // namespace ping
