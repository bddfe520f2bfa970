// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_SOURCES_SNMP_AGENT_H_
#define HOST_DEVICE_SOURCES_SNMP_AGENT_H_

#include <cstddef>
#include <string>
#include <vector>

#include "host/device/sources/NetAddress.h"
#include "host/device/sources/SourceModule.h"
#include "host/device/sources/snmp/Oid.h"
#include "host/device/sources/snmp/Session.h"

namespace host {

// An object that a point shows.
struct AgentPoint {
  size_t point = 0;
  Oid name;
};

// Reads the objects of an agent, many with each request: as many as the agent has an answer for
// that is not too big.
class SnmpAgent {
 public:
  SnmpAgent(NetAddress address, std::string credentials, bool isVersion3,
            const SourceLimits& limits);

  void Add(size_t point, Oid name) { m_points.push_back({point, std::move(name)}); }
  bool HasPoints() const { return !m_points.empty(); }
  Problem Read(SourceSink& sink);

 private:
  Problem Connect();
  Problem AskFor(std::vector<const AgentPoint*> points, SourceSink& sink);
  static bool TakeError(const netsnmp_pdu& answer, std::vector<const AgentPoint*>& points,
                        SourceSink& sink);

  const NetAddress m_address;
  const std::string m_credentials;
  const bool m_isVersion3;
  const SourceLimits m_limits;
  std::vector<AgentPoint> m_points;
  SnmpSession m_session;
  size_t m_together;  // how many objects are asked for at once
};

// Tells the points what an answer holds for them: variables go by their names, and what is not
// answered has no value.
void TellAnswer(const netsnmp_pdu& answer, const std::vector<const AgentPoint*>& points,
                SourceSink& sink);

}  // namespace host

#endif  // HOST_DEVICE_SOURCES_SNMP_AGENT_H_
