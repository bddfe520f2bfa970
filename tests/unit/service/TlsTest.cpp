#include <sys/stat.h>

#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TempFolder.h"
#include "service/http/Tls.h"

namespace cloudservice {
namespace {

using testing::HasSubstr;

std::string Content(const std::string& file) {
  std::ostringstream text;
  text << std::ifstream(file).rdbuf();
  return text.str();
}

std::string ContextFails(const CertificateFiles& files) {
  try {
    ServerContext(files);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

TEST(Certificate, Is_made_once_beside_the_database_with_a_private_key) {
  TempFolder folder;
  bool made = false;
  const CertificateFiles files = OwnCertificate(folder.File("s.db"), made);
  EXPECT_TRUE(made);
  EXPECT_EQ(files.certificate, folder.File("s.db.crt"));
  EXPECT_EQ(files.key, folder.File("s.db.key"));
  struct stat status = {};
  ASSERT_EQ(stat(files.key.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  EXPECT_NO_THROW(ServerContext(files));

  const std::string before = Content(files.certificate);
  OwnCertificate(folder.File("s.db"), made);
  EXPECT_FALSE(made);
  EXPECT_EQ(Content(files.certificate), before);
}

TEST(Certificate, Half_a_pair_is_made_anew) {
  TempFolder folder;
  bool made = false;
  const CertificateFiles files = OwnCertificate(folder.File("s.db"), made);
  std::filesystem::remove(files.certificate);
  OwnCertificate(folder.File("s.db"), made);
  EXPECT_TRUE(made);
  EXPECT_NO_THROW(ServerContext(files));
}

TEST(Certificate, Failures_name_the_file) {
  TempFolder folder;
  bool made = false;
  EXPECT_THROW(OwnCertificate(folder.File("none/s.db"), made), std::runtime_error);
  const CertificateFiles files = OwnCertificate(folder.File("s.db"), made);
  EXPECT_THAT(ContextFails({folder.File("none.crt"), files.key}),
              HasSubstr("cannot use the certificate " + folder.File("none.crt")));
  EXPECT_THAT(ContextFails({files.certificate, folder.File("none.key")}),
              HasSubstr("cannot use the key " + folder.File("none.key")));
  const CertificateFiles other = OwnCertificate(folder.File("t.db"), made);
  EXPECT_THAT(ContextFails({files.certificate, other.key}),
              HasSubstr("cannot use the key " + other.key));
}

}  // namespace
}  // namespace cloudservice
