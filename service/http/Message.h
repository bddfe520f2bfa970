// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_MESSAGE_H_
#define SERVICE_HTTP_MESSAGE_H_

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "service/http/Target.h"

namespace cloudservice {

struct Route;
class Stream;

// Seconds after which a sender should come again for whom there was no room.
constexpr int kRetrySeconds = 5;

// A request. Handlers get it once it has arrived as a whole.
struct Request {
  std::string method;
  Target target;
  std::string body;
  std::string token;  // X-Auth-Token; empty when there is none
  std::string peer;   // the sender's address, also behind a trusted proxy
  std::vector<std::pair<std::string, std::string>> headers = {};  // as sent, without trailers
  std::chrono::steady_clock::time_point arrived = std::chrono::steady_clock::now();

  // The values of all headers called `name`, in any case of letters, joined by ", "; empty when
  // there is none.
  std::string Header(const std::string& name) const;
};

struct Response {
  unsigned status = 200;
  std::vector<std::pair<std::string, std::string>> headers;  // with their names as they are sent
  std::string body;                                          // may be empty
  std::string_view lasting = {};  // replaces `body`: bytes that live as long as the program
  std::string type = "application/json; charset=utf-8";  // Content-Type of the body
  std::shared_ptr<Stream> stream = nullptr;              // replaces `body` when it has no end
  bool mayBeCompressed = false;                          // for a sender who takes that
  Route* route = nullptr;  // of the request; outlives the response; null: it fits none
  std::shared_ptr<void> room = nullptr;  // what the body takes of an AnswerRoom, until it is sent

  // The bytes of the body.
  std::string_view Content() const {
    if (!lasting.empty()) return lasting;
    return body;
  }
  // Gives it other bytes, which may be none.
  void SetContent(std::string bytes);
  // The value of the header `name`, in exactly these letters; empty when there is none.
  std::string Header(const std::string& name) const;
  // Sets the header `name`; replaces the value of one that is there.
  void SetHeader(const std::string& name, const std::string& value);
};

// Answers a request; it may block. An exception from it ends the connection without an answer.
using Handler = std::function<Response(const Request&)>;

// Takes the answer to a request, once, on any thread. Where it is dropped without an answer, the
// connection ends.
using Reply = std::function<void(Response response)>;

// Makes an answer; it does not block.
using MakeAnswer = std::function<Response()>;

// Begins to answer a request without a thread that waits, where that is possible: returns true, and
// calls `ready` once, later and on any thread. That thread has no time to make the answer: `ready`
// passes that on. Returns false where a Handler has to answer. It does not block.
using Ready = std::function<void(MakeAnswer make)>;
using Beginner = std::function<bool(const std::shared_ptr<const Request>& request, Ready ready)>;

// Takes a request and answers it at once or later. It is called on the connection's thread and must
// not block.
using RequestTaker = std::function<void(std::shared_ptr<const Request> request, Reply reply)>;

// Takes the header of a request whose body is still to come, and calls `reply` once, on any thread,
// with a refusal, or with nothing when the body should come. It is called on the connection's
// thread and must not block. Where the reply is dropped, the connection ends.
using HeadReply = std::function<void(std::optional<Response> refusal)>;
using HeadTaker = std::function<void(std::shared_ptr<const Request> head, HeadReply reply)>;

// Answers a request that could not be read to its end; `status` and `reason` say why it is refused.
// The request's body is empty; its method and target are empty too if they had not been read. It
// is called on the connection's thread and must not block. An exception from it ends the connection
// without an answer.
using RefusalHandler =
    std::function<Response(unsigned status, const Request& request, const std::string& reason)>;

}  // namespace cloudservice

#endif  // SERVICE_HTTP_MESSAGE_H_
