// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_SOURCES_SNMP_OID_H_
#define HOST_DEVICE_SOURCES_SNMP_OID_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace host {

// An object identifier.
using Oid = std::vector<uint32_t>;

// Of numbers joined by full stops, one before them or not: "1.3.6.1.2.1.1.3.0". None of a text that
// is none; from 2 to 128 numbers.
std::optional<Oid> ParseOid(const std::string& text);

std::string OidText(const Oid& oid);

}  // namespace host

#endif  // HOST_DEVICE_SOURCES_SNMP_OID_H_
