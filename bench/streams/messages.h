// Ways to bring messages of 16 KiB of data from one process to another.
#ifndef SPRIG_BENCH_STREAMS_MESSAGES_H
#define SPRIG_BENCH_STREAMS_MESSAGES_H

#include "streams/exchange.h"

namespace bench {

// Data to an endpoint, which gets a new block for each message. Nothing is answered.
std::unique_ptr<Party> makeSprigReceiver(const Meeting &meeting);
std::unique_ptr<Party> makeSprigSender(const Meeting &meeting);
std::unique_ptr<Party> makeSocketReceiver(const Meeting &meeting);
std::unique_ptr<Party> makeSocketSender(const Meeting &meeting);
std::unique_ptr<Party> makeZeromqReceiver(const Meeting &meeting);
std::unique_ptr<Party> makeZeromqSender(const Meeting &meeting);

// Data from an endpoint, which waits for the answer to each message.
std::unique_ptr<Party> makeSprigWriter(const Meeting &meeting);
std::unique_ptr<Party> makeSprigAnswerer(const Meeting &meeting);
std::unique_ptr<Party> makeSocketWriter(const Meeting &meeting);
std::unique_ptr<Party> makeSocketAnswerer(const Meeting &meeting);
std::unique_ptr<Party> makeZeromqWriter(const Meeting &meeting);
std::unique_ptr<Party> makeZeromqAnswerer(const Meeting &meeting);

} // namespace bench

#endif
