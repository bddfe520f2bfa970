// SPDX-License-Identifier: Apache-2.0
// Requests to the service's interfaces, with and without somebody's token, on a database in memory.
#include <array>
#include <memory>

#include "Input.h"
#include "PayloadCheck.h"
#include "TempFolder.h"
#include "TestStore.h"
#include "service/api/Api.h"
#include "service/page/Page.h"
#include "service/redfish/Service.h"
#include "service/redfish/Shape.h"
#include "service/util/Secret.h"

namespace cloudservice {

namespace {

constexpr time_t kNow = 1772716029;
constexpr const char* kOperatorsToken = "an operator's";
// Stands in what the first appliance has sent, and is nobody else's business.
constexpr const char* kItsOwn = "kept for one";
constexpr const char* kChassis = "/redfish/v1/Chassis/c";

enum class Sender { kNobody, kFirst, kSecond, kOperator };

// The interfaces, with two appliances, of which the first has sent something of everything.
class Everything {
 public:
  Everything() {
    m_store->AddManager({"u", "Unit 7", Document(), kNow, {}, {}, "192.0.2.7"}, Sha256Hex("u"));
    m_store->AddManager({"v", "Unit 8", "{}", kNow, {}, {}, "192.0.2.8"}, Sha256Hex("v"));
    m_store->AddChassis({"c", "u", Document(), kNow});
    for (const char* below : {"/Thermal", "/Sensors/1", "/EnvironmentMetrics", "/Other"}) {
      const std::string path = std::string(kChassis) + below;
      m_store->PutResource({path, "u", "c", Document(), kNow},
                           {path, "u", "c", kNow, {{"A", "1"}}});
    }
    m_store->AddEvent({0, "u", "c", "m", "Alarm", Document(), kNow}, "m");
    m_store->AddHeartbeat("u", kNow, 90, "");
    m_store->AddOperator({0, "olga", {}, Sha256Hex(kOperatorsToken), kNow});
  }

  Response Ask(Sender sender, Request request) {
    if (sender == Sender::kFirst) request.token = "u";
    if (sender == Sender::kSecond) request.token = "v";
    if (sender == Sender::kOperator) {
      request.headers.emplace_back("Authorization", std::string("Bearer ") + kOperatorsToken);
    }
    if (OperatorApi::Serves(request.target)) return m_api.Handle(request);
    std::optional<Response> page = AnswerPage(request);
    return page ? *std::move(page) : m_service.Handle(request);
  }

 private:
  static std::string Document() {
    return Json({{"MessageId", "m"},
                 {"Severity", "Alarm"},
                 {"Message", kItsOwn},
                 {"Name", kItsOwn},
                 {"A", 1},
                 {"Temperatures", {{{"MemberId", "1"}, {"ReadingCelsius", 20.5}}}},
                 {"OriginOfCondition", Reference(kChassis)}})
        .dump();
  }

  const Log m_log{[](const std::string&) {}, [] { return kNow; }};
  const TempFolder m_folder;
  TestStore m_store{m_folder.File("s.db")};
  Accounts m_accounts{m_store, [] { return kNow; }};
  RedfishService m_service{m_store, m_log, m_accounts, [] { return kNow; }};
  Operators m_operators{m_store, [] { return kNow; }};
  Feed m_feed{m_store, m_operators, m_log, [] { return kNow; }, [this] { m_feed.TellChanges(); }};
  OperatorApi m_api{m_store, m_operators, m_feed, m_log, [] { return kNow; }, false};
};

void Judge(Sender sender, const Request& request, const Response& response) {
  fuzz::Require(response.status >= 200 && response.status < 508 && response.status != 500,
                "whatever is asked has an answer");
  const bool own = sender == Sender::kFirst || sender == Sender::kOperator;
  fuzz::Require(own || response.body.find(kItsOwn) == std::string::npos,
                "nobody sees what is another's");
  if (response.body.empty() || response.type.rfind("application/json", 0) != 0) return;
  const Json document = Json::parse(response.body, nullptr, false);
  fuzz::Require(!document.is_discarded(), "an answer is JSON");
  if (response.status >= 400) {
    fuzz::Require(document.contains("error"), "a refusal says why");
  } else if (document.is_object() && document.contains("@odata.id")) {
    const bool partial = request.target.Text().find("select") != std::string::npos;
    const std::vector<std::string> faults = FaultsOf(document, partial);
    if (!faults.empty()) std::fprintf(stderr, "%s\n", faults.front().c_str());
    fuzz::Require(faults.empty(), "a document is what its type says");
  }
}

}  // namespace

// Requests, each ended by NUL: method and sender in two bytes, the target up to a line feed,
// headers in lines, an empty line, and the body.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::array<const char*, 8> kMethods = {"GET",  "PATCH",   "POST", "DELETE",
                                                      "HEAD", "OPTIONS", "PUT",  "TRACE"};
  // Made anew only after what may have changed it: to make it takes longer than most requests.
  static std::unique_ptr<Everything> everything;
  if (!everything) everything = std::make_unique<Everything>();
  bool unchanged = true;
  fuzz::Input requests(data, size);
  for (int i = 0; i < 8 && !requests.AtEnd(); ++i) {
    const std::string text = requests.Text();
    fuzz::Input input(reinterpret_cast<const uint8_t*>(text.data()), text.size());
    Request request;
    request.method = kMethods[input.Choice(kMethods.size())];
    const auto sender = static_cast<Sender>(input.Choice(4));
    request.target = Target(input.Text('\n'));
    request.peer = "192.0.2.9";
    for (std::string line; !(line = input.Text('\n')).empty();) {
      const size_t colon = line.find(": ");
      if (colon == std::string::npos) continue;
      request.headers.emplace_back(line.substr(0, colon), line.substr(colon + 2));
    }
    request.body = input.Rest();
    unchanged = unchanged && (request.method == "GET" || request.method == "HEAD" ||
                              request.method == "OPTIONS");
    Judge(sender, request, everything->Ask(sender, request));
  }
  if (!unchanged) everything.reset();
  return 0;
}

}  // namespace cloudservice
