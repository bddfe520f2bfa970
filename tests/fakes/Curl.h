// SPDX-License-Identifier: Apache-2.0
#ifndef FAKES_CURL_H_
#define FAKES_CURL_H_

#include <curl/curl.h>

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace fakes {

// What a transfer meets. The header block is delivered line by line, to the write callback (when
// the header is asked for) and to the header callback, then the body to the write callback, then
// the trailer lines to the header callback alone.
struct Response {
  CURLcode code = CURLE_OK;  // a failed transfer delivers first what is set here
  long status = 200;
  std::string header = "HTTP/1.1 200 OK\r\n\r\n";
  std::string body;
  std::string trailer;
  bool tooLong = false;  // the body is longer than any memory
};

// One use of an easy handle: from curl_easy_init or curl_easy_reset on.
struct Transfer {
  // Options as they were set, refused ones included: "URL=https://...", "SSL_VERIFYPEER=0",
  // "WRITEFUNCTION", "CAPATH removed"; other pointers than texts without a value.
  std::vector<std::string> options;
  // The list given as HTTPHEADER and the text given as POSTFIELDS, read again at each perform.
  std::vector<std::string> headerLines;
  std::string document;
  std::string url;
  std::string customRequest;
  bool hasDocument = false;
  int performs = 0;
  long status = 0;
  bool cleanedUp = false;
  std::string standardOutput;  // what was delivered without a write callback

  // "GET", "POST", or the custom request.
  std::string Method() const;
};

// libcurl: records what it is asked to do and answers as told.
class Curl {
 public:
  CURLcode globalInitCode = CURLE_OK;
  bool initFails = false;  // curl_easy_init answers null
  std::map<CURLoption, CURLcode> refuses;
  std::string refusesLine;  // the header line that curl_slist_append has no memory for
  CURLcode getinfoCode = CURLE_OK;
  // Callbacks are given each piece as one item of its length, not as so many items of one byte.
  bool oneItem = false;
  // Called at each perform before anything else; may throw.
  std::function<void(Transfer&)> onPerform;
  // Called when a handle is closed.
  std::function<void()> onCleanup;
  // Answers a perform, when set; else the next of `responses`. Without either the connection
  // fails.
  std::function<Response(const Transfer&)> respond;
  std::deque<Response> responses;

  std::vector<long> globalInits;  // flags
  int globalCleanups = 0;
  std::vector<std::shared_ptr<Transfer>> transfers;
  int listsMade = 0;
  int liveLists = 0;  // header lists that were not freed
  int liveHandles = 0;

  // Queues an answer with a status line and these header lines (without line ends).
  Curl& Answers(long status, const std::string& body = "",
                const std::vector<std::string>& headerLines = {});
  // Queues a failed transfer, once or several times.
  Curl& Fails(CURLcode code, int times = 1);
  const Transfer& Last() const { return *transfers.back(); }
  // Forgets everything, and that handles and lists are alive.
  void Reset();
};

Curl& curl();

// "HTTP/1.1 STATUS REASON", the lines and the blank one, each ended by CR LF.
std::string HeaderBlock(long status, const std::vector<std::string>& lines = {});

}  // namespace fakes

#endif  // FAKES_CURL_H_
