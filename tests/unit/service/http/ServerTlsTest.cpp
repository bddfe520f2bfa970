// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/write.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ServerTest.h"
#include "TempFolder.h"
#include "service/http/Tls.h"

namespace cloudservice {
namespace {

namespace asio = boost::asio;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class TlsServerTest : public ServerTest {
 protected:
  TlsServerTest() { Start(&tls); }
  ~TlsServerTest() override { Stop(); }

  using Stream = asio::ssl::stream<asio::ip::tcp::socket>;

  // The cipher that a client gets who speaks TLS 1.2 and takes only these; empty when none.
  std::string CipherOf(const char* ciphers) {
    asio::ssl::context client(asio::ssl::context::tlsv12_client);
    SSL_CTX_set_cipher_list(client.native_handle(), ciphers);
    Stream stream(m_clientIo, client);
    stream.lowest_layer().connect({asio::ip::make_address("127.0.0.1"), port});
    boost::system::error_code error;
    stream.handshake(asio::ssl::stream_base::client, error);
    return error ? "" : SSL_get_cipher_name(stream.native_handle());
  }

  std::unique_ptr<Stream> Connect() {
    auto stream = std::make_unique<Stream>(m_clientIo, m_client);
    stream->lowest_layer().connect({asio::ip::make_address("127.0.0.1"), port});
    stream->handshake(asio::ssl::stream_base::client);
    return stream;
  }

  static CertificateFiles Made(const TempFolder& folder, const std::string& name) {
    bool made = false;
    return OwnCertificate(folder.File(name), made);
  }
  // Puts another pair in the place of the server's own.
  void Replace() const {
    const CertificateFiles other = Made(folder, "other");
    std::filesystem::rename(other.certificate, tls.Files().certificate);
    std::filesystem::rename(other.key, tls.Files().key);
  }
  // What a connection was shown, as its serial number.
  static std::uint64_t SerialOf(Stream& stream) {
    X509* const certificate = SSL_get1_peer_certificate(stream.native_handle());
    std::uint64_t serial = 0;
    EXPECT_EQ(ASN1_INTEGER_get_uint64(&serial, X509_get0_serialNumber(certificate)), 1);
    X509_free(certificate);
    return serial;
  }
  static bool IsServed(Stream& stream) {
    boost::system::error_code error;
    asio::write(stream, asio::buffer(Get("/1")), error);
    std::string answer;
    if (!error) asio::read_until(stream, asio::dynamic_buffer(answer), "GET /1 [] ", error);
    return !error;
  }

  TempFolder folder;
  ServerTls tls{Made(folder, "s.db")};

 private:
  asio::io_context m_clientIo;
  asio::ssl::context m_client{asio::ssl::context::tls_client};
};

TEST_F(TlsServerTest, Fresh_certificate_serves_and_the_end_is_announced) {
  EXPECT_THAT(server->Url(), StartsWith("https://127.0.0.1:"));
  const auto stream = Connect();
  asio::write(*stream,
              asio::buffer(Get("/1") + "GET /2 HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n"));
  std::string answers;
  boost::system::error_code error;
  asio::read(*stream, asio::dynamic_buffer(answers), error);
  EXPECT_EQ(error, asio::error::eof);
  EXPECT_THAT(answers, HasSubstr("GET /1 [] HTTP/1.1 201"));
  EXPECT_THAT(answers, EndsWith("GET /2 [] "));
}

TEST_F(TlsServerTest, Refused_sender_gets_to_read_the_answer) {
  const auto stream = Connect();
  asio::write(*stream, asio::buffer(Post("", "99999999")));
  std::string answer;
  boost::system::error_code error;
  asio::read(*stream, asio::dynamic_buffer(answer), error);
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 413 "));
}

TEST_F(TlsServerTest, Handshakes_that_do_not_come_hold_up_nobody) {
  const Peer silent(port);
  const Peer halfway(port);
  halfway.Send("\x16\x03\x01");
  const auto stream = Connect();
  asio::write(*stream, asio::buffer(Get("/1")));
  char byte = 0;
  EXPECT_EQ(asio::read(*stream, asio::buffer(&byte, 1)), 1u);
}

TEST_F(TlsServerTest, Handshake_has_one_time_for_all_its_bytes) {
  using namespace std::string_literals;
  EXPECT_NEAR(Drip("\x16\x03\x01\x40\x00\x01\x00\x3f\xfc\x03\x03"s), 10, 2);
  EXPECT_THAT(Lines(), HasSubstr("connection refused: no TLS: "));
}

TEST_F(TlsServerTest, Tls_1_2_has_forward_secrecy_and_authenticated_encryption) {
  for (const char* taken : {"ECDHE-ECDSA-AES128-GCM-SHA256", "ECDHE-ECDSA-CHACHA20-POLY1305"}) {
    EXPECT_EQ(CipherOf(taken), taken);
  }
  for (const char* refused : {"ECDHE-ECDSA-AES256-SHA384", "ECDHE-ECDSA-AES128-SHA",
                              "ECDHE-ECDSA-AES128-CCM", "AES128-GCM-SHA256"}) {
    EXPECT_EQ(CipherOf(refused), "") << refused;
  }
}

TEST_F(TlsServerTest, Certificate_that_is_read_again_is_shown_to_who_comes_next) {
  const auto before = Connect();
  Replace();
  EXPECT_EQ(SerialOf(*Connect()), SerialOf(*before));
  tls.ReadAgain();
  const auto after = Connect();
  EXPECT_NE(SerialOf(*after), SerialOf(*before));
  EXPECT_TRUE(IsServed(*after));
  EXPECT_TRUE(IsServed(*before));
}

TEST_F(TlsServerTest, Certificate_that_cannot_be_read_again_stays) {
  const auto before = Connect();
  std::filesystem::rename(Made(folder, "other").key, tls.Files().key);
  EXPECT_THROW(tls.ReadAgain(), std::runtime_error);
  std::filesystem::remove(tls.Files().certificate);
  EXPECT_THROW(tls.ReadAgain(), std::runtime_error);
  const auto after = Connect();
  EXPECT_EQ(SerialOf(*after), SerialOf(*before));
  EXPECT_TRUE(IsServed(*after));
  EXPECT_TRUE(IsServed(*before));
}

TEST_F(TlsServerTest, Plain_http_is_refused_and_said_in_the_log) {
  Peer peer(port);
  peer.Send(Get("/"));
  EXPECT_THAT(peer.ReadAll(), Not(HasSubstr("HTTP/1.1 2")));
  EXPECT_THAT(Lines(), HasSubstr("connection refused: no TLS: "));
}

}  // namespace
}  // namespace cloudservice
