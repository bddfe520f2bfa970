// SPDX-License-Identifier: Apache-2.0
// Answers and notifications of SNMP, as the library takes their bytes apart.
#include "SourceSink.h"
#include "host/device/sources/snmp/Agent.h"
#include "host/device/sources/snmp/Listener.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const auto oid = host::ParseOid(input.Text());
  if (oid) fuzz::Require(host::ParseOid(host::OidText(*oid)) == oid, "an identifier has one text");
  std::string bytes = input.Rest();
  const host::SnmpLock lock;
  const host::PduRef pdu(snmp_pdu_create(SNMP_MSG_RESPONSE));
  size_t length = bytes.size();
  if (snmp_pdu_parse(pdu.get(), reinterpret_cast<u_char*>(bytes.data()), &length) != 0) return 0;
  host::TrapName(*pdu);
  const host::AgentPoint points[] = {
      {0, oid.value_or(host::Oid{1, 3})},
      {1, pdu->variables == nullptr ? host::Oid{1, 3} : host::NameOf(*pdu->variables)}};
  fuzz::Sink sink(2);
  host::TellAnswer(*pdu, {&points[0], &points[1]}, sink);
  fuzz::Require(sink.told == std::vector<int>(2, 1), "each point is told once");
  return 0;
}
