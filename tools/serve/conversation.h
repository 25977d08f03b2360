// What is said with one receiver: it sends tables of contents, and gets what they lack.
#ifndef SPRIG_TOOLS_SERVE_CONVERSATION_H
#define SPRIG_TOOLS_SERVE_CONVERSATION_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "connection.h"
#include "serve/account.h"
#include "serve/offer.h"
#include "serve/orders.h"

namespace tool {

class Conversation {
public:
  Conversation(const Connection &connection, const Offer &offer, const Orders &orders,
               Account &account);

  // Goes on until the receiver has enough or something ends it, which the account tells.
  void run() noexcept;

private:
  // What a receiver lacks of a segment: all from an offset on.
  struct Rest {
    size_t segment;
    uint64_t offset;
  };

  void converse();
  void awaitMessage() const;
  void obey() const;
  void answer(const Message &message);
  std::vector<Rest> restsOf(const sprig::TableOfContents &table);
  void sendEncoding();
  void sendRest(const Rest &rest);
  // Sends what stands in the buffer behind the command byte.
  void sendPiece(size_t length);

  const Connection &connection_;
  const Offer &offer_;
  const Orders &orders_;
  Account &account_;
  std::string buffer_;
};

} // namespace tool

#endif
