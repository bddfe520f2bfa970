// SPDX-License-Identifier: Apache-2.0
#include <zlib.h>

#include <gtest/gtest.h>

#include "service/http/Compression.h"

namespace cloudservice {
namespace {

Request Accepting(const std::string& codings) {
  return {"GET", Target("/"), "", "", "", {{"accept-encoding", codings}}};
}

std::string Unpacked(const std::string& bytes) {
  z_stream stream = {};
  EXPECT_EQ(inflateInit2(&stream, 15 + 16), Z_OK);
  std::string text(1 << 20, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = reinterpret_cast<Bytef*>(text.data());
  stream.avail_out = static_cast<uInt>(text.size());
  EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
  EXPECT_EQ(stream.avail_in, 0U);
  text.resize(stream.total_out);
  inflateEnd(&stream);
  return text;
}

TEST(CompressionTest, Senders_say_whether_they_take_it) {
  for (const char* codings :
       {"gzip", "GZIP", "x-gzip", "br, gzip", "deflate,gzip;q=0.5", "gzip ; q=1", "*",
        "gzip;q=0.001", "br;q=0, *;q=0.1", "gzip;level=9", "*;q=0, gzip"}) {
    EXPECT_TRUE(TakesGzip(Accepting(codings))) << codings;
  }
  for (const char* codings : {"", "br", "identity", "gzip;q=0", "gzip; Q=0.000", "*;q=0", ",,", ";",
                              "gzip;q=0, *", "gzipped", "br;q=1, deflate"}) {
    EXPECT_FALSE(TakesGzip(Accepting(codings))) << codings;
  }
  EXPECT_FALSE(TakesGzip({"GET", Target("/"), "", "", ""}));
}

TEST(CompressionTest, Body_comes_back_whole) {
  std::string body;
  for (int i = 0; i < 20000; ++i) body += std::to_string(i * 7919 % 1013) + '\0';
  Response response;
  response.body = body;
  response.mayBeCompressed = true;
  CompressFor(Accepting("gzip"), response);
  EXPECT_EQ(response.Header("Content-Encoding"), "gzip");
  EXPECT_EQ(response.Header("Vary"), "Accept-Encoding");
  EXPECT_LT(response.body.size(), body.size() / 2);
  EXPECT_EQ(Unpacked(response.body), body);
}

TEST(CompressionTest, Small_bodies_and_those_of_others_stay) {
  Response small;
  small.mayBeCompressed = true;
  small.body = std::string(kLeastToCompress - 1, 'x');
  CompressFor(Accepting("gzip"), small);
  EXPECT_EQ(small.body, std::string(kLeastToCompress - 1, 'x'));
  EXPECT_EQ(small.Header("Content-Encoding"), "");
  EXPECT_EQ(small.Header("Vary"), "Accept-Encoding") << "a larger one would be compressed";
  small.body += 'x';
  CompressFor(Accepting("br"), small);
  EXPECT_EQ(small.Header("Content-Encoding"), "");
  CompressFor(Accepting("gzip"), small);
  EXPECT_EQ(small.Header("Content-Encoding"), "gzip");

  Response other;
  other.body = std::string(10 * kLeastToCompress, 'x');
  CompressFor(Accepting("gzip"), other);
  EXPECT_EQ(other.body.size(), 10 * kLeastToCompress);
  EXPECT_TRUE(other.headers.empty());

  Response empty;
  empty.mayBeCompressed = true;
  empty.status = 304;
  CompressFor(Accepting("gzip"), empty);
  EXPECT_EQ(empty.Header("Vary"), "Accept-Encoding") << "as the answer that it stands for";
  EXPECT_EQ(empty.Header("Content-Encoding"), "");
}

}  // namespace
}  // namespace cloudservice
