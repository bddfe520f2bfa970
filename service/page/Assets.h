// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_PAGE_ASSETS_H_
#define SERVICE_PAGE_ASSETS_H_

#include <string_view>
#include <vector>

namespace cloudservice {

// A file of the web page, as the build made it. The viewed bytes live as long as the program.
struct Asset {
  std::string_view
      path;  // "/index.html", or "/assets/..." with a digest of the content in its name
  std::string_view type;  // Content-Type
  std::string_view etag;  // with its quotes; changes with the content
  std::string_view bytes;
  std::string_view gzip;  // the same, compressed
};

// All files of the web page; the first is the page itself.
const std::vector<Asset>& Assets();

}  // namespace cloudservice

#endif  // SERVICE_PAGE_ASSETS_H_
