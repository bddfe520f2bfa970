// SPDX-License-Identifier: Apache-2.0
// Reading the objects of an agent.
#include "host/device/sources/snmp/Agent.h"

#include <algorithm>
#include <map>
#include <utility>

namespace host {
namespace {

// Some 1,400 bytes of an answer, which a datagram carries in one piece.
constexpr size_t kMostTogether = 48;

PduRef RequestFor(const std::vector<const AgentPoint*>& points) {
  PduRef request(snmp_pdu_create(SNMP_MSG_GET));
  for (const AgentPoint* const point : points) {
    const std::vector<oid> name(point->name.begin(), point->name.end());
    snmp_add_null_var(request.get(), name.data(), name.size());
  }
  return request;
}

void TellValue(const netsnmp_variable_list& variable, size_t point, SourceSink& sink) {
  const SnmpValue value = ValueOf(variable);
  switch (value.kind) {
    case SnmpValue::Kind::kNumber:
      sink.Number(point, value.number);
      break;
    case SnmpValue::Kind::kText:
      sink.Text(point, value.text);
      break;
    case SnmpValue::Kind::kNone:
      sink.NoValue(point, Problem(value.text));
  }
}

}  // namespace

void TellAnswer(const netsnmp_pdu& answer, const std::vector<const AgentPoint*>& points,
                SourceSink& sink) {
  std::map<Oid, const netsnmp_variable_list*> variables;
  for (const auto* variable = answer.variables; variable != nullptr;
       variable = variable->next_variable) {
    variables.emplace(NameOf(*variable), variable);
  }
  for (const AgentPoint* const point : points) {
    const auto found = variables.find(point->name);
    if (found == variables.end()) {
      sink.NoValue(point->point, Problem("its device leaves it out"));
    } else {
      TellValue(*found->second, point->point, sink);
    }
  }
}

SnmpAgent::SnmpAgent(NetAddress address, std::string credentials, bool isVersion3,
                     const SourceLimits& limits)
    : m_address(std::move(address)),
      m_credentials(std::move(credentials)),
      m_isVersion3(isVersion3),
      m_limits(limits),
      m_together(kMostTogether) {}

Problem SnmpAgent::Connect() {
  SnmpIdentity identity;
  if (Problem problem = ReadIdentity(m_credentials, m_isVersion3, identity)) return problem;
  m_together = kMostTogether;
  Problem problem = m_session.Open(m_address, identity, m_limits);
  if (problem) m_session.Close();
  return problem;
}

Problem SnmpAgent::Read(SourceSink& sink) {
  if (!m_session.IsOpen()) {
    if (Problem problem = Connect()) return problem;
  }
  for (size_t begin = 0; begin < m_points.size();) {
    std::vector<const AgentPoint*> points;
    const size_t end = std::min(begin + m_together, m_points.size());
    for (size_t i = begin; i < end; ++i) points.push_back(&m_points[i]);
    const size_t together = m_together;
    if (Problem problem = AskFor(std::move(points), sink)) return problem;
    // Fewer at once: these are asked for again.
    if (m_together == together) begin = end;
  }
  return {};
}

// Asks until the rest of the points are told, or the answer is too big.
Problem SnmpAgent::AskFor(std::vector<const AgentPoint*> points, SourceSink& sink) {
  while (!points.empty()) {
    PduRef answer;
    if (Problem problem = m_session.Ask(RequestFor(points), answer)) return problem;
    if (answer->errstat == SNMP_ERR_NOERROR) {
      TellAnswer(*answer, points, sink);
      return {};
    }
    if (answer->errstat == SNMP_ERR_TOOBIG && points.size() > 1) {
      m_together = points.size() / 2;
      return {};
    }
    if (!TakeError(*answer, points, sink)) return {};
  }
  return {};
}

// An error is one object's, and the others are asked for again, or that of all: false then.
bool SnmpAgent::TakeError(const netsnmp_pdu& answer, std::vector<const AgentPoint*>& points,
                          SourceSink& sink) {
  const Problem problem(std::string("its device answers: ") +
                        snmp_errstring(static_cast<int>(answer.errstat)));
  const auto index = static_cast<size_t>(answer.errindex);
  if (answer.errindex >= 1 && index <= points.size()) {
    sink.NoValue(points[index - 1]->point, problem);
    points.erase(points.begin() + answer.errindex - 1);
    return true;
  }
  for (const AgentPoint* const point : points) sink.NoValue(point->point, problem);
  return false;
}

}  // namespace host
