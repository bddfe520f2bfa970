// SPDX-License-Identifier: Apache-2.0
// Serving the web page.
#include "service/page/Page.h"

#include <algorithm>

#include "service/http/Compression.h"
#include "service/http/EntityTag.h"
#include "service/http/Target.h"
#include "service/page/Assets.h"

namespace cloudservice {

namespace {

// The browser loads and runs only what this service serves, sends data only to this service, and
// never shows the page in a frame.
constexpr char kPolicy[] =
    "default-src 'self'; base-uri 'none'; form-action 'self'; frame-ancestors 'none'; "
    "object-src 'none'";

const Asset* Find(const Target& target) {
  if (target.Text().substr(0, target.Text().find('?')) == "/") return &Assets().front();
  const std::vector<std::string>& segments = target.Segments();
  if (segments.size() != 2) return nullptr;
  // The page itself finds out whether there is such an appliance.
  if (segments[0] == "appliances") return &Assets().front();
  const std::string path = "/" + segments[0] + "/" + segments[1];
  const auto found = std::find_if(Assets().begin(), Assets().end(),
                                  [&](const Asset& asset) { return asset.path == path; });
  return found == Assets().end() ? nullptr : &*found;
}

Response WrongMethod(const std::string& method) {
  Response response;
  response.status = 405;
  response.type = "text/plain; charset=utf-8";
  response.body = method + " is not possible here; possible: GET, HEAD.\n";
  response.SetHeader("Allow", "GET, HEAD");
  return response;
}

}  // namespace

std::optional<Response> AnswerPage(const Request& request) {
  const Asset* asset = Find(request.target);
  if (asset == nullptr) return std::nullopt;
  if (request.method != "GET" && request.method != "HEAD") return WrongMethod(request.method);
  Response response;
  response.type = asset->type;
  const bool page = asset == &Assets().front();
  const bool gzip = TakesGzip(request);
  response.SetHeader("Cache-Control", page ? "no-cache" : "public, max-age=31536000, immutable");
  TellItMayBeGzip(response);
  response.SetHeader("Content-Security-Policy", kPolicy);
  response.SetHeader("Cross-Origin-Opener-Policy", "same-origin");
  response.SetHeader("Referrer-Policy", "no-referrer");
  response.SetHeader("X-Content-Type-Options", "nosniff");
  response.lasting = gzip ? asset->gzip : asset->bytes;
  AddWeakTag(request, std::string(asset->etag), response);
  if (gzip && !response.Content().empty()) response.SetHeader("Content-Encoding", "gzip");
  return response;
}

}  // namespace cloudservice
