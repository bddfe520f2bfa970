// SPDX-License-Identifier: Apache-2.0
#include "fakes/Curl.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>

namespace fakes {
namespace {

// What a CURL* points at.
struct Easy {
  std::shared_ptr<Transfer> transfer;
  curl_write_callback write = nullptr;
  void* writeData = nullptr;
  curl_write_callback header = nullptr;
  void* headerData = nullptr;
  const curl_slist* list = nullptr;
  const char* document = nullptr;
  bool includeHeader = false;
  bool noProgress = true;
  curl_xferinfo_callback progress = nullptr;
  void* progressData = nullptr;
};

void BeginTransfer(Easy& easy) {
  easy.transfer = std::make_shared<Transfer>();
  curl().transfers.push_back(easy.transfer);
}

const char* NameOf(CURLoption option) {
  static const std::map<CURLoption, const char*> names = {
      {CURLOPT_URL, "URL"},
      {CURLOPT_WRITEFUNCTION, "WRITEFUNCTION"},
      {CURLOPT_WRITEDATA, "WRITEDATA"},
      {CURLOPT_SSL_VERIFYPEER, "SSL_VERIFYPEER"},
      {CURLOPT_SSL_VERIFYHOST, "SSL_VERIFYHOST"},
      {CURLOPT_HEADER, "HEADER"},
      {CURLOPT_HEADERFUNCTION, "HEADERFUNCTION"},
      {CURLOPT_HEADERDATA, "HEADERDATA"},
      {CURLOPT_HTTPHEADER, "HTTPHEADER"},
      {CURLOPT_POSTFIELDS, "POSTFIELDS"},
      {CURLOPT_CUSTOMREQUEST, "CUSTOMREQUEST"},
      {CURLOPT_CAINFO, "CAINFO"},
      {CURLOPT_CAPATH, "CAPATH"},
      {CURLOPT_PINNEDPUBLICKEY, "PINNEDPUBLICKEY"},
      {CURLOPT_SSLCERT, "SSLCERT"},
      {CURLOPT_SSLKEY, "SSLKEY"},
      {CURLOPT_SSLVERSION, "SSLVERSION"},
      {CURLOPT_CONNECTTIMEOUT, "CONNECTTIMEOUT"},
      {CURLOPT_TIMEOUT, "TIMEOUT"},
      {CURLOPT_LOW_SPEED_LIMIT, "LOW_SPEED_LIMIT"},
      {CURLOPT_LOW_SPEED_TIME, "LOW_SPEED_TIME"},
      {CURLOPT_NOSIGNAL, "NOSIGNAL"},
      {CURLOPT_QUICK_EXIT, "QUICK_EXIT"},
      {CURLOPT_NOPROGRESS, "NOPROGRESS"},
      {CURLOPT_XFERINFOFUNCTION, "XFERINFOFUNCTION"},
      {CURLOPT_XFERINFODATA, "XFERINFODATA"},
      {CURLOPT_PROXY, "PROXY"},
      {CURLOPT_NOPROXY, "NOPROXY"},
      {CURLOPT_PROXYUSERNAME, "PROXYUSERNAME"},
      {CURLOPT_PROXYPASSWORD, "PROXYPASSWORD"},
      {CURLOPT_SUPPRESS_CONNECT_HEADERS, "SUPPRESS_CONNECT_HEADERS"},
  };
  const auto found = names.find(option);
  return found == names.end() ? nullptr : found->second;
}

// Whether the value of an option is a text.
bool IsText(CURLoption option) {
  static const std::set<CURLoption> texts = {
      CURLOPT_URL,    CURLOPT_CUSTOMREQUEST,   CURLOPT_POSTFIELDS,    CURLOPT_CAINFO,
      CURLOPT_CAPATH, CURLOPT_PINNEDPUBLICKEY, CURLOPT_SSLCERT,       CURLOPT_SSLKEY,
      CURLOPT_PROXY,  CURLOPT_NOPROXY,         CURLOPT_PROXYUSERNAME, CURLOPT_PROXYPASSWORD};
  return texts.count(option) != 0;
}

std::vector<std::string> LinesOf(const curl_slist* list) {
  std::vector<std::string> lines;
  for (; list != nullptr; list = list->next) lines.emplace_back(list->data);
  return lines;
}

void ReadBorrowed(Easy& easy) {
  if (easy.list != nullptr) easy.transfer->headerLines = LinesOf(easy.list);
  if (easy.document != nullptr) easy.transfer->document = easy.document;
}

void Apply(Easy& easy, CURLoption option, long number, void* pointer) {
  const auto text = [pointer] { return std::string(static_cast<const char*>(pointer)); };
  switch (option) {
    case CURLOPT_URL:
      easy.transfer->url = text();
      break;
    case CURLOPT_CUSTOMREQUEST:
      easy.transfer->customRequest = text();
      break;
    case CURLOPT_POSTFIELDS:
      easy.document = static_cast<const char*>(pointer);
      easy.transfer->hasDocument = true;
      break;
    case CURLOPT_HTTPHEADER:
      easy.list = static_cast<const curl_slist*>(pointer);
      break;
    case CURLOPT_WRITEFUNCTION:
      easy.write = reinterpret_cast<curl_write_callback>(pointer);
      break;
    case CURLOPT_WRITEDATA:
      easy.writeData = pointer;
      break;
    case CURLOPT_HEADERFUNCTION:
      easy.header = reinterpret_cast<curl_write_callback>(pointer);
      break;
    case CURLOPT_HEADERDATA:
      easy.headerData = pointer;
      break;
    case CURLOPT_HEADER:
      easy.includeHeader = number != 0;
      break;
    case CURLOPT_NOPROGRESS:
      easy.noProgress = number != 0;
      break;
    case CURLOPT_XFERINFOFUNCTION:
      easy.progress = reinterpret_cast<curl_xferinfo_callback>(pointer);
      break;
    case CURLOPT_XFERINFODATA:
      easy.progressData = pointer;
      break;
    default:
      break;
  }
  ReadBorrowed(easy);
}

std::string Described(CURLoption option, long number, const void* pointer) {
  const char* const known = NameOf(option);
  const std::string name = known != nullptr ? known : std::to_string(option);
  if (option < CURLOPTTYPE_OBJECTPOINT) return name + "=" + std::to_string(number);
  if (!IsText(option)) return name;
  return name +
         (pointer == nullptr ? " removed" : "=" + std::string(static_cast<const char*>(pointer)));
}

bool Deliver(curl_write_callback callback, void* user, std::string bytes) {
  const size_t count = curl().oneItem ? 1 : bytes.size();
  return callback(bytes.data(), bytes.size() / count, count, user) == bytes.size();
}

// More than any buffer takes, so that none of it is read.
bool DeliverTooMuch(const Easy& easy) {
  constexpr size_t kLength = std::string::npos / 2;
  char first = 'x';
  return easy.write(&first, 1, kLength, easy.writeData) == kLength;
}

bool DeliverWritten(Easy& easy, const std::string& bytes) {
  if (bytes.empty()) return true;
  if (easy.write != nullptr) return Deliver(easy.write, easy.writeData, bytes);
  easy.transfer->standardOutput += bytes;
  return true;
}

bool DeliverHeader(Easy& easy, const std::string& block, bool trailer) {
  size_t begin = 0;
  while (begin < block.size()) {
    const size_t newline = block.find('\n', begin);
    const size_t end = newline == std::string::npos ? block.size() : newline + 1;
    const std::string line = block.substr(begin, end - begin);
    if (easy.includeHeader && !trailer && !DeliverWritten(easy, line)) return false;
    if (easy.header != nullptr && !Deliver(easy.header, easy.headerData, line)) return false;
    begin = end;
  }
  return true;
}

CURLcode Play(Easy& easy, const Response& response) {
  const bool watched = !easy.noProgress && easy.progress != nullptr;
  if (watched && easy.progress(easy.progressData, 0, 0, 0, 0) != 0) {
    return CURLE_ABORTED_BY_CALLBACK;
  }
  if (response.code == CURLE_OK) easy.transfer->status = response.status;
  const bool delivered =
      DeliverHeader(easy, response.header, false) && DeliverWritten(easy, response.body) &&
      (!response.tooLong || DeliverTooMuch(easy)) && DeliverHeader(easy, response.trailer, true);
  return delivered ? response.code : CURLE_WRITE_ERROR;
}

Response NextResponse(const Transfer& transfer) {
  Curl& state = curl();
  if (state.respond) return state.respond(transfer);
  if (state.responses.empty()) return {CURLE_COULDNT_CONNECT, 0, "", "", ""};
  const Response response = state.responses.front();
  state.responses.pop_front();
  return response;
}

Easy& EasyOf(CURL* handle) {
  Easy* const easy = static_cast<Easy*>(handle);
  if (easy == nullptr) {
    fprintf(stderr, "fakes: libcurl called with a null handle\n");
    abort();
  }
  return *easy;
}

const char* Reason(long status) {
  static const std::map<long, const char*> reasons = {{200, "OK"},
                                                      {201, "Created"},
                                                      {202, "Accepted"},
                                                      {204, "No Content"},
                                                      {302, "Found"},
                                                      {303, "See Other"},
                                                      {400, "Bad Request"},
                                                      {401, "Unauthorized"},
                                                      {403, "Forbidden"},
                                                      {404, "Not Found"},
                                                      {500, "Internal Server Error"}};
  const auto found = reasons.find(status);
  return found == reasons.end() ? "Unnamed" : found->second;
}

}  // namespace

Curl& curl() {
  static Curl* const instance = new Curl;
  return *instance;
}

std::string HeaderBlock(long status, const std::vector<std::string>& lines) {
  std::string block = "HTTP/1.1 " + std::to_string(status) + " " + Reason(status) + "\r\n";
  for (const std::string& line : lines) block += line + "\r\n";
  return block + "\r\n";
}

std::string Transfer::Method() const {
  if (!customRequest.empty()) return customRequest;
  return hasDocument ? "POST" : "GET";
}

Curl& Curl::Answers(long status, const std::string& body,
                    const std::vector<std::string>& headerLines) {
  responses.push_back({CURLE_OK, status, HeaderBlock(status, headerLines), body, ""});
  return *this;
}

Curl& Curl::Fails(CURLcode code, int times) {
  responses.insert(responses.end(), static_cast<size_t>(times), {code, 0, "", "", ""});
  return *this;
}

void Curl::Reset() { *this = Curl(); }

}  // namespace fakes

using fakes::curl;

CURLcode curl_global_init(long flags) {
  curl().globalInits.push_back(flags);
  return curl().globalInitCode;
}

void curl_global_cleanup(void) { ++curl().globalCleanups; }

CURL* curl_easy_init(void) {
  if (curl().initFails) return nullptr;
  fakes::Easy* const easy = new fakes::Easy;
  fakes::BeginTransfer(*easy);
  ++curl().liveHandles;
  return easy;
}

void curl_easy_reset(CURL* handle) {
  fakes::Easy& easy = fakes::EasyOf(handle);
  easy = fakes::Easy();
  fakes::BeginTransfer(easy);
}

// The parentheses keep libcurl's macro of the same name away.
CURLcode(curl_easy_setopt)(CURL* handle, CURLoption option, ...) {
  fakes::Easy& easy = fakes::EasyOf(handle);
  long number = 0;
  void* pointer = nullptr;
  va_list arguments;
  va_start(arguments, option);
  if (option < CURLOPTTYPE_OBJECTPOINT) {
    number = va_arg(arguments, long);
  } else {
    pointer = va_arg(arguments, void*);
  }
  va_end(arguments);

  easy.transfer->options.push_back(fakes::Described(option, number, pointer));
  const auto refused = curl().refuses.find(option);
  if (refused != curl().refuses.end()) return refused->second;
  fakes::Apply(easy, option, number, pointer);
  return CURLE_OK;
}

CURLcode curl_easy_perform(CURL* handle) {
  fakes::Easy& easy = fakes::EasyOf(handle);
  ++easy.transfer->performs;
  fakes::ReadBorrowed(easy);
  if (curl().onPerform) curl().onPerform(*easy.transfer);
  return fakes::Play(easy, fakes::NextResponse(*easy.transfer));
}

CURLcode(curl_easy_getinfo)(CURL* handle, CURLINFO info, ...) {
  const fakes::Easy& easy = fakes::EasyOf(handle);
  if (curl().getinfoCode != CURLE_OK) return curl().getinfoCode;
  if (info != CURLINFO_RESPONSE_CODE) return CURLE_UNKNOWN_OPTION;
  va_list arguments;
  va_start(arguments, info);
  *va_arg(arguments, long*) = easy.transfer->status;
  va_end(arguments);
  return CURLE_OK;
}

const char* curl_easy_strerror(CURLcode code) {
  switch (code) {
    case CURLE_OK:
      return "No error";
    case CURLE_COULDNT_RESOLVE_HOST:
      return "Couldn't resolve host name";
    case CURLE_COULDNT_CONNECT:
      return "Couldn't connect to server";
    case CURLE_WRITE_ERROR:
      return "Failed writing received data to disk/application";
    case CURLE_ABORTED_BY_CALLBACK:
      return "Operation was aborted by an application callback";
    case CURLE_SSL_CONNECT_ERROR:
      return "SSL connect error";
    default:
      return "Unknown error";
  }
}

void curl_easy_cleanup(CURL* handle) {
  fakes::Easy* const easy = &fakes::EasyOf(handle);
  if (curl().onCleanup) curl().onCleanup();
  easy->transfer->cleanedUp = true;
  --curl().liveHandles;
  delete easy;
}

curl_slist* curl_slist_append(curl_slist* list, const char* text) {
  if (!curl().refusesLine.empty() && curl().refusesLine == text) return nullptr;
  curl_slist* const node = new curl_slist{strdup(text), nullptr};
  if (list == nullptr) {
    ++curl().listsMade;
    ++curl().liveLists;
    return node;
  }
  curl_slist* last = list;
  while (last->next != nullptr) last = last->next;
  last->next = node;
  return list;
}

void curl_slist_free_all(curl_slist* list) {
  if (list == nullptr) return;
  --curl().liveLists;
  while (list != nullptr) {
    curl_slist* const next = list->next;
    free(list->data);
    delete list;
    list = next;
  }
}
