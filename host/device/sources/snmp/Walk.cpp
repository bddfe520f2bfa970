// SPDX-License-Identifier: Apache-2.0
// Reading what an agent has below an identifier.
#include "host/device/sources/snmp/Walk.h"

#include <algorithm>
#include <utility>

#include "host/util/Clock.h"

namespace host {
namespace {

constexpr long kAtOnce = 24;  // objects of an answer, which fit into a datagram as a rule

PduRef NextRequest(const Oid& behind) {
  PduRef request(snmp_pdu_create(SNMP_MSG_GETBULK));
  request->non_repeaters = 0;
  request->max_repetitions = kAtOnce;
  const std::vector<oid> name(behind.begin(), behind.end());
  snmp_add_null_var(request.get(), name.data(), name.size());
  return request;
}

}  // namespace

bool IsBelow(const Oid& oid, const Oid& begin) {
  return oid.size() >= begin.size() && std::equal(begin.begin(), begin.end(), oid.begin());
}

Problem WalkTree(const SnmpAsk& ask, const Oid& begin, const WalkLimits& limits, SnmpTree& tree,
                 bool& isCut) {
  size_t count = 0;
  for (Oid last = begin;;) {
    if (MonotonicMs() >= limits.untilMs) {
      isCut = true;
      return {};
    }
    PduRef answer;
    if (Problem problem = ask(NextRequest(last), answer)) return problem;
    if (answer->errstat != SNMP_ERR_NOERROR) {
      return Problem(std::string("its device answers: ") +
                     snmp_errstring(static_cast<int>(answer->errstat)));
    }
    const Oid before = last;
    for (const auto* variable = answer->variables; variable != nullptr;
         variable = variable->next_variable) {
      Oid name = NameOf(*variable);
      if (variable->type == SNMP_ENDOFMIBVIEW || !IsBelow(name, begin)) return {};
      // Agents that go in circles would be asked for ever.
      if (name <= last) return Problem("its device does not answer objects in their order");
      if (count++ == limits.most) {
        isCut = true;
        return {};
      }
      last = name;
      tree.emplace(std::move(name), ValueOf(*variable));
    }
    if (last == before) return {};
  }
}

}  // namespace host
