// SPDX-License-Identifier: Apache-2.0
// The threads that answer requests, lane by lane.
#include "service/http/Lanes.h"

#include <algorithm>
#include <string>
#include <thread>
#include <utility>

namespace cloudservice {

namespace {

std::array<Workers::Settings, Lanes::kCount> SettingsOfLanes() {
  const std::size_t cores = std::max(1U, std::thread::hardware_concurrency());
  std::array<Workers::Settings, Lanes::kCount> settings;
  settings[Lanes::kChanges] = {64, 4096, 0};
  settings[Lanes::kLooks] = {cores + 1, 1024, 5};
  settings[Lanes::kSignIns] = {std::max<std::size_t>(1, cores / 2), 1024, 10};
  settings[Lanes::kHealth] = {1, 64, 0};
  return settings;
}

}  // namespace

Lanes::Lanes(Service service, const Log& log) : m_service(std::move(service)) {
  const auto settings = SettingsOfLanes();
  for (std::size_t i = 0; i < kCount; ++i) {
    m_workers.at(i) = std::make_unique<Workers>(settings.at(i), log);
  }
}

void Lanes::Take(const std::shared_ptr<const Request>& request, const Reply& reply) {
  const Lane lane = m_service.choose(*request);
  const bool taken =
      m_workers.at(lane)->Post([this, request, reply] { reply(m_service.handler(*request)); });
  if (!taken) reply(Refuse(lane, *request));
}

void Lanes::Admit(const std::shared_ptr<const Request>& head, const HeadReply& reply) {
  const Lane lane = m_service.choose(*head);
  const bool taken =
      m_workers.at(lane)->Post([this, head, reply] { reply(m_service.refuseHead(*head)); });
  if (!taken) reply(Refuse(lane, *head));
}

Response Lanes::Refuse(Lane lane, const Request& request) {
  ++m_refused.at(lane);
  Response response =
      lane == kSignIns
          ? m_service.refuse(429, request, "More sign-ins wait than can be checked soon.")
          : m_service.refuse(503, request, "More requests wait than can be answered soon.");
  response.SetHeader("Retry-After", std::to_string(kRetrySeconds));
  return response;
}

}  // namespace cloudservice
