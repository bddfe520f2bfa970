// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_COMPRESSION_H_
#define SERVICE_HTTP_COMPRESSION_H_

#include <cstddef>

#include "service/http/Message.h"

namespace cloudservice {

// Bodies below this many bytes are sent as they are: they fit into a packet either way.
constexpr std::size_t kLeastToCompress = 1024;

// Whether the sender takes an answer that is compressed by gzip (Accept-Encoding, RFC 9110).
bool TakesGzip(const Request& request);

// The body is sent as it is or compressed: caches are told that it depends on what a sender takes.
void TellItMayBeGzip(Response& response);

// Compresses the body of a response that may be for a sender who takes that, where it is worth it.
// Throws std::bad_alloc.
void CompressFor(const Request& request, Response& response);

}  // namespace cloudservice

#endif  // SERVICE_HTTP_COMPRESSION_H_
