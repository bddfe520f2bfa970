// SPDX-License-Identifier: Apache-2.0
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <thread>

#include "HostTest.h"
#include "Scarcity.h"
#include "SystemCalls.h"
#include "host/config/ConfigKeys.h"
#include "host/config/ConfigStore.h"
#include "host/util/Files.h"
#include "host/util/Secrets.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;

namespace {

class ConfigStoreTest : public HostTest {
 protected:
  std::unique_ptr<host::ConfigStore> Open() const {
    return std::make_unique<host::ConfigStore>(In(kCloudFile), host::CloudKeys());
  }
  // Mode 0700, and the other user's where the tests run as root.
  void GiveToOther(const std::string& path) const {
    EXPECT_EQ(chmod(In(path).c_str(), 0700), 0);
    EXPECT_TRUE(geteuid() != 0 || chown(In(path).c_str(), kOther, kOther) == 0);
  }
};

}  // namespace

TEST_F(ConfigStoreTest, Missing_file_is_defaults_without_a_message) {
  const auto store = Open();
  EXPECT_EQ(store->Text(host::kUrl), "");
  EXPECT_FALSE(store->Flag(host::kEnabled));
  EXPECT_EQ(store->Object(host::kChassis), nullptr);
  EXPECT_EQ(Log(), "");
}

TEST_F(ConfigStoreTest, Values_are_read_whole_or_not_at_all) {
  Write(kCloudFile,
        R"({"Enabled": true, "Url": "https://a", "Chassis": {"c": {"VelocityInstance": 1}}})");
  int failures = 0;
  for (bool failed = true; failed; failures += failed ? 1 : 0) {
    std::unique_ptr<host::ConfigStore> store;
    {
      const FailingJson memory(failures);
      try {
        store = Open();
      } catch (const std::bad_alloc&) {
      }
      failed = memory.Failed();
    }
    if (store == nullptr) continue;
    const bool whole = store->Text(host::kUrl) == "https://a";
    EXPECT_EQ(store->Flag(host::kEnabled), whole) << failures;
    EXPECT_EQ(store->Object(host::kChassis) != nullptr, whole) << failures;
    EXPECT_TRUE(whole || LogCount("; the values in use stay") > 0) << failures;
    EXPECT_TRUE(store->Reload());
    EXPECT_EQ(store->Text(host::kUrl), "https://a");
  }
  EXPECT_GT(failures, 10);
}

TEST_F(ConfigStoreTest, Value_that_cannot_be_set_is_told_and_the_others_are_kept) {
  Write(kCloudFile, R"({"Enabled": true})");
  const auto store = Open();
  int failures = 0;
  for (bool failed = true; failed; failures += failed ? 1 : 0) {
    bool told = false;
    {
      const FailingJson memory(failures);
      try {
        told = static_cast<bool>(store->SetText(host::kUrl, "u" + std::to_string(failures)));
      } catch (const std::bad_alloc&) {
        told = true;
      }
      failed = memory.Failed();
    }
    EXPECT_EQ(told, failed);
    EXPECT_TRUE(told || store->Text(host::kUrl) == "u" + std::to_string(failures));
  }
  EXPECT_GT(failures, 1);
  EXPECT_TRUE(store->Flag(host::kEnabled));
  EXPECT_TRUE(store->Save());
}

TEST_F(ConfigStoreTest, Values_are_read) {
  Write(kCloudFile,
        R"({"Enabled": true, "Url": "https://x", "Chassis": {"a": {"VelocityInstance": 3}}})");
  const auto store = Open();
  EXPECT_TRUE(store->Flag(host::kEnabled));
  EXPECT_EQ(store->Text(host::kUrl), "https://x");
  EXPECT_EQ(json_object_size(store->Object(host::kChassis).get()), 1u);
  EXPECT_THAT(store->TakeChanges(), IsEmpty());
}

TEST_F(ConfigStoreTest, Save_makes_the_folder_and_the_file) {
  const auto store = Open();
  ASSERT_FALSE(store->SetText(host::kUuid, "u"));
  EXPECT_FALSE(Exists(kCloudFile));
  ASSERT_TRUE(store->Save());
  EXPECT_EQ(Read(kCloudFile), "{\n  \"UUID\": \"u\"\n}\n");
  struct stat status = {};
  ASSERT_EQ(stat(In(kCloudFile).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
  EXPECT_THAT(Files("/etc/cloudclient"), ElementsAre("cloud.json"));
}

TEST_F(ConfigStoreTest, Unknown_keys_and_their_order_are_kept) {
  Write(kCloudFile, R"({"Zebra": [1, 2.5, null], "Url": "a", "Apple": {"x": "é"}})");
  const auto store = Open();
  EXPECT_FALSE(store->SetText(host::kUrl, "b"));
  ASSERT_TRUE(store->Save());
  EXPECT_EQ(Read(kCloudFile),
            "{\n  \"Zebra\": [\n    1,\n    2.5,\n    null\n  ],\n  \"Url\": \"b\",\n"
            "  \"Apple\": {\n    \"x\": \"é\"\n  }\n}\n");
}

TEST_F(ConfigStoreTest, Saved_values_are_read_by_another_process) {
  const auto store = Open();
  EXPECT_FALSE(store->SetText(host::kXAuthToken, "t\n\"\\"));
  EXPECT_FALSE(store->SetText(host::kUnitName, "\x01\xC3\xBC"));
  store->SetFlag(host::kEnabled, true);
  ASSERT_TRUE(store->Save());
  const auto other = Open();
  EXPECT_EQ(other->Text(host::kXAuthToken), "t\n\"\\");
  EXPECT_EQ(other->Text(host::kUnitName), "\x01\xC3\xBC");
  EXPECT_TRUE(other->Flag(host::kEnabled));
}

TEST_F(ConfigStoreTest, Neither_of_two_writers_loses_the_others_change) {
  Write(kCloudFile, R"({"Url": "a"})");
  const auto daemon = Open();
  const auto ctl = Open();
  EXPECT_FALSE(daemon->SetText(host::kXAuthToken, "token"));
  EXPECT_FALSE(daemon->SetMember(host::kChassis, "new", host::JsonRef(json_object())));
  EXPECT_FALSE(ctl->SetText(host::kUrl, "b"));
  EXPECT_FALSE(ctl->SetMember(host::kChassis, "other", host::JsonRef(json_object())));
  ASSERT_TRUE(ctl->Save());
  ASSERT_TRUE(daemon->Save());
  const auto after = Open();
  EXPECT_EQ(after->Text(host::kXAuthToken), "token");
  EXPECT_EQ(after->Text(host::kUrl), "b");
  EXPECT_EQ(json_object_size(after->Object(host::kChassis).get()), 2u);
  EXPECT_EQ(daemon->Text(host::kUrl), "b");
}

TEST_F(ConfigStoreTest, Many_writers_at_once_lose_nothing) {
  std::atomic<bool> saved{true};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this, i, &saved] {
      const auto store = Open();
      for (int turn = 0; turn < 10; ++turn) {
        const std::string id = std::to_string(i) + "." + std::to_string(turn);
        EXPECT_FALSE(store->SetMember(host::kChassis, id, host::JsonRef(json_object())));
        if (!store->Save()) saved = false;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(saved);
  EXPECT_EQ(json_object_size(Open()->Object(host::kChassis).get()), 40u);
}

TEST_F(ConfigStoreTest, Setting_while_saving_keeps_what_was_set) {
  const auto store = Open();
  std::thread setter([&] {
    for (int i = 0; i < 200; ++i) {
      EXPECT_FALSE(store->SetText(host::kUnitName, std::to_string(i)));
    }
  });
  for (int i = 0; i < 20; ++i) EXPECT_TRUE(store->Save());
  setter.join();
  EXPECT_EQ(store->Text(host::kUnitName), "199");
  ASSERT_TRUE(store->Save());
  EXPECT_EQ(Open()->Text(host::kUnitName), "199");
}

TEST_F(ConfigStoreTest, Own_writing_is_no_change) {
  const auto store = Open();
  EXPECT_FALSE(store->SetText(host::kUuid, "u"));
  ASSERT_TRUE(store->Save());
  ASSERT_TRUE(store->Reload());
  EXPECT_THAT(store->TakeChanges(), IsEmpty());
}

TEST_F(ConfigStoreTest, Changes_of_others_are_named_once) {
  Write(kCloudFile, R"({"Url": "a", "UserEmail": "e", "UnitName": "n"})");
  const auto store = Open();
  Write(kCloudFile, R"({"Url": "b", "UnitName": "n", "Enabled": true})");
  ASSERT_TRUE(store->Reload());
  ASSERT_TRUE(store->Reload());
  EXPECT_THAT(store->TakeChanges(), UnorderedElementsAre("Url", "UserEmail", "Enabled"));
  EXPECT_THAT(store->TakeChanges(), IsEmpty());
  EXPECT_EQ(store->Text(host::kUserEmail), "");
}

TEST_F(ConfigStoreTest, Changes_of_others_met_while_saving_are_named) {
  const auto store = Open();
  EXPECT_FALSE(store->SetText(host::kXAuthToken, "t"));
  Write(kCloudFile, R"({"Url": "b"})");
  ASSERT_TRUE(store->Save());
  EXPECT_THAT(store->TakeChanges(), ElementsAre("Url"));
}

TEST_F(ConfigStoreTest, What_was_set_and_not_saved_survives_a_reload) {
  const auto store = Open();
  EXPECT_FALSE(store->SetText(host::kXAuthToken, "mine"));
  Write(kCloudFile, R"({"XAuthToken": "theirs"})");
  ASSERT_TRUE(store->Reload());
  EXPECT_EQ(store->Text(host::kXAuthToken), "mine");
  EXPECT_THAT(store->TakeChanges(), IsEmpty());
}

TEST_F(ConfigStoreTest, Vanished_file_leaves_the_values_and_is_written_again) {
  Write(kCloudFile, R"({"Url": "a", "Other": 1})");
  const auto store = Open();
  ASSERT_EQ(remove(In(kCloudFile).c_str()), 0);
  EXPECT_TRUE(store->Reload());
  EXPECT_EQ(store->Text(host::kUrl), "a");
  EXPECT_THAT(store->TakeChanges(), IsEmpty());
  ASSERT_TRUE(store->Save());
  EXPECT_EQ(Read(kCloudFile), "{\n  \"Url\": \"a\",\n  \"Other\": 1\n}\n");
}

TEST_F(ConfigStoreTest, Unparsable_file_at_start_names_file_line_and_column) {
  Write(kCloudFile, "{\n  \"Url\": \"a\",\n  \"Enabled\": maybe\n}\n");
  const auto store = Open();
  EXPECT_EQ(store->Text(host::kUrl), "");
  EXPECT_EQ(
      LogCount(In(kCloudFile) + " is not valid JSON: line 3, column 18; the values in use stay"),
      1);
}

TEST_F(ConfigStoreTest, Unparsable_file_leaves_the_last_good_values_and_is_not_overwritten) {
  Write(kCloudFile, R"({"Url": "a"})");
  const auto store = Open();
  Write(kCloudFile, "{\"Url\": ");
  EXPECT_FALSE(store->Reload());
  EXPECT_FALSE(store->Reload());
  EXPECT_EQ(store->Text(host::kUrl), "a");
  EXPECT_THAT(store->TakeChanges(), IsEmpty());
  EXPECT_EQ(LogCount("is not valid JSON"), 1);
  EXPECT_FALSE(store->SetText(host::kXAuthToken, "t"));
  EXPECT_FALSE(store->Save());
  EXPECT_EQ(Read(kCloudFile), "{\"Url\": ");
  EXPECT_EQ(LogCount(In(kCloudFile) + " is not saved: "), 1);

  Write(kCloudFile, R"({"Url": "b"})");
  ASSERT_TRUE(store->Save());
  EXPECT_EQ(Open()->Text(host::kXAuthToken), "t");
  EXPECT_EQ(Open()->Text(host::kUrl), "b");
}

TEST_F(ConfigStoreTest, Top_level_value_that_is_no_object_is_refused) {
  Write(kCloudFile, "[1]");
  const auto store = Open();
  EXPECT_EQ(LogCount("is not valid: line 1, column 1: not a JSON object"), 1);
  EXPECT_FALSE(store->Save());
  EXPECT_EQ(Read(kCloudFile), "[1]");
}

TEST_F(ConfigStoreTest, Unreadable_file_costs_one_message_and_is_not_overwritten) {
  MakeUnreadable(kCloudFile);
  const auto store = Open();
  EXPECT_FALSE(store->Reload());
  EXPECT_EQ(LogCount("cannot be read: Too many levels of symbolic links; the values in use stay"),
            1);
  EXPECT_FALSE(store->Save());
  EXPECT_TRUE(Exists(kCloudFile));
  EXPECT_THAT(Files("/etc/cloudclient"), ElementsAre("cloud.json"));
}

TEST_F(ConfigStoreTest, Wrong_types_are_named_once_and_count_as_absent) {
  Write(kCloudFile, R"({"Enabled": "true", "Url": 5, "Chassis": []})");
  const auto store = Open();
  store->Reload();
  EXPECT_FALSE(store->Flag(host::kEnabled));
  EXPECT_EQ(store->Text(host::kUrl), "");
  EXPECT_EQ(store->Object(host::kChassis), nullptr);
  EXPECT_EQ(LogCount("\"Enabled\" is neither true nor false; it counts as absent"), 1);
  EXPECT_EQ(LogCount("\"Url\" is not a text; it counts as absent"), 1);
  EXPECT_EQ(LogCount("\"Chassis\" is not an object; it counts as absent"), 1);
}

TEST_F(ConfigStoreTest, Text_with_a_NUL_byte_is_named_once_and_counts_as_absent) {
  Write(kCloudFile, R"({"UUID": "a\u0000b", "RegistrationKey": "\u0000", "Url": "u"})");
  const auto store = Open();
  store->Reload();
  EXPECT_EQ(store->Text(host::kUuid), "");
  EXPECT_EQ(store->Text(host::kRegistrationKey), "");
  EXPECT_EQ(store->Text(host::kUrl), "u");
  EXPECT_EQ(LogCount("\"UUID\" holds a NUL byte; it counts as absent"), 1);
  EXPECT_EQ(LogCount("\"RegistrationKey\" holds a NUL byte; it counts as absent"), 1);
  EXPECT_EQ(store->SetText(host::kUrl, std::string("a\0b", 3)).Text(), "holds a NUL byte");
  EXPECT_EQ(store->Text(host::kUrl), "u");
}

TEST_F(ConfigStoreTest, Chassis_without_an_instance_is_named) {
  Write(kCloudFile, R"({"Chassis": {"a": {"VelocityInstance": 0}, "b": {}}})");
  Open();
  EXPECT_EQ(LogCount("\"VelocityInstance\" of \"b\" in \"Chassis\" is not an integer"), 1);
}

TEST_F(ConfigStoreTest, Full_disk_costs_one_message_and_leaves_the_file) {
  Write(kCloudFile, R"({"Url": "a"})");
  const Child child = Run([this] {
    const auto store = Open();
    EXPECT_FALSE(store->SetText(host::kXAuthToken, std::string(100000, 't')));
    signal(SIGXFSZ, SIG_IGN);
    const struct rlimit limit = {50000, 50000};
    setrlimit(RLIMIT_FSIZE, &limit);
    return store->Save() ? 1 : 0;
  });
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(Read(kCloudFile), R"({"Url": "a"})");
  EXPECT_EQ(LogCount("is not saved: File too large"), 1);
  EXPECT_THAT(Files("/etc/cloudclient"), ElementsAre("cloud.json"));
}

TEST_F(ConfigStoreTest, Folder_that_cannot_be_made_fails_the_save) {
  Write("/etc/cloudclient", "a file");
  const auto store = Open();
  EXPECT_FALSE(store->Save());
  EXPECT_EQ(LogCount("is not saved: Not a directory"), 1);
}

TEST_F(ConfigStoreTest, Lock_that_another_process_keeps_fails_the_save) {
  Write(kCloudFile, "{}");
  const host::FileLock lock(In(kCloudFile) + ".lock", 0, host::OwnershipOf(In(kCloudFile)));
  host::ConfigStore store(In(kCloudFile), host::CloudKeys(), 0);
  EXPECT_FALSE(store.SetText(host::kUrl, "u"));
  EXPECT_FALSE(store.Save());
  EXPECT_EQ(LogCount("is not saved: another process keeps its lock"), 1);
  EXPECT_EQ(Read(kCloudFile), "{}");
}

TEST_F(ConfigStoreTest, Lock_that_cannot_be_made_fails_the_save) {
  Write(kCloudFile, "{}");
  ASSERT_FALSE(host::MakeFolders(In(kCloudFile) + ".lock"));
  EXPECT_FALSE(Open()->Save());
  EXPECT_EQ(LogCount("cloud.json.lock: Is a directory"), 1);
}

TEST_F(ConfigStoreTest, What_root_writes_stays_another_users) {
  Write(kCloudFile, R"({"Url": "a"})");
  for (const char* path : {"", "/etc", "/etc/cloudclient", kCloudFile}) GiveToOther(path);
  {
    const auto store = Open();
    EXPECT_FALSE(store->SetText(host::kUrl, "b"));
    ASSERT_TRUE(store->Save());
  }
  const Child other = RunAsOther([this] {
    const auto store = Open();
    if (store->Text(host::kUrl) != "b") return 1;
    EXPECT_FALSE(store->SetText(host::kXAuthToken, "t"));
    return store->Save() ? 0 : 2;
  });
  EXPECT_EQ(other.Wait(), 0);
  EXPECT_EQ(Open()->Text(host::kXAuthToken), "t");
  struct stat status = {};
  ASSERT_EQ(stat(In(kCloudFile).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0700u);
  EXPECT_EQ(status.st_uid, geteuid() == 0 ? kOther : geteuid());
  EXPECT_EQ(status.st_gid, geteuid() == 0 ? kOther : getegid());
  EXPECT_THAT(Log(), Not(HasSubstr("saved")));
}

TEST_F(ConfigStoreTest, What_root_makes_is_the_folders_owners) {
  ASSERT_FALSE(host::MakeFolders(In("/etc/cloudclient")));
  for (const char* path : {"", "/etc", "/etc/cloudclient"}) GiveToOther(path);
  ASSERT_TRUE(Open()->Save());
  EXPECT_EQ(RunAsOther([this] { return Open()->Save() ? 0 : 1; }).Wait(), 0);
}

TEST_F(ConfigStoreTest, Link_stays_and_what_it_names_is_written) {
  Write("/data/cloud.json", R"({"Url": "a"})");
  ASSERT_FALSE(host::MakeFolders(In("/etc/cloudclient")));
  ASSERT_EQ(symlink("../../data/cloud.json", In(kCloudFile).c_str()), 0);
  const auto store = Open();
  EXPECT_FALSE(store->SetText(host::kUrl, "b"));
  ASSERT_TRUE(store->Save());
  EXPECT_EQ(Read("/data/cloud.json"), "{\n  \"Url\": \"b\"\n}\n");
  EXPECT_THAT(Files("/etc/cloudclient"), ElementsAre("cloud.json"));
  char named[100] = "";
  EXPECT_GT(readlink(In(kCloudFile).c_str(), named, sizeof(named) - 1), 0);
  EXPECT_STREQ(named, "../../data/cloud.json");
  EXPECT_TRUE(Exists("/data/cloud.json.lock"));
}

TEST_F(ConfigStoreTest, Link_to_nothing_makes_the_file_that_it_names) {
  ASSERT_FALSE(host::MakeFolders(In("/etc/cloudclient")));
  ASSERT_EQ(symlink("../../data/cloud.json", In(kCloudFile).c_str()), 0);
  ASSERT_TRUE(Open()->Save());
  EXPECT_EQ(Read("/data/cloud.json"), "{}\n");
}

TEST_F(ConfigStoreTest, Folder_that_cannot_be_synced_is_a_warning) {
  Write(kCloudFile, "{}");
  const auto store = Open();
  EXPECT_FALSE(store->SetText(host::kUrl, "b"));
  int calls = 0;
  g_fsync = [&calls](int) { return ++calls == 1 ? 0 : EIO; };
  EXPECT_TRUE(store->Save());
  EXPECT_EQ(Open()->Text(host::kUrl), "b");
  EXPECT_EQ(
      LogCount("4 Host " + In(kCloudFile) + " is saved, but its folder could not be synced: "), 1);
}

TEST_F(ConfigStoreTest, Temporaries_of_a_killed_save_are_swept_by_the_next) {
  const Child child = Run([this] {
    g_fsync = [](int) { return raise(SIGKILL); };
    return Open()->Save() ? 0 : 1;
  });
  EXPECT_EQ(child.Wait(), 128 + SIGKILL);
  EXPECT_EQ(Files("/etc/cloudclient").size(), 1u);
  ASSERT_TRUE(Open()->Save());
  EXPECT_THAT(Files("/etc/cloudclient"), ElementsAre("cloud.json"));
}

TEST_F(ConfigStoreTest, Reading_again_does_not_wait_for_the_disk) {
  Write(kCloudFile, R"({"Url": "a"})");
  const auto store = Open();
  EXPECT_FALSE(store->SetText(host::kXAuthToken, "t"));
  int syncs = 0;
  std::atomic<int> reloads{0};
  std::vector<std::thread> readers;
  g_fsync = [&](int) {
    ++syncs;
    readers.emplace_back([&] {
      EXPECT_TRUE(store->Reload());
      EXPECT_EQ(store->Text(host::kXAuthToken), "t");
      ++reloads;
    });
    EXPECT_TRUE(Await([&] { return reloads == syncs; }));
    return 0;
  };
  EXPECT_TRUE(store->Save());
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(syncs, 2);
  EXPECT_THAT(store->TakeChanges(), IsEmpty());
  EXPECT_EQ(Open()->Text(host::kXAuthToken), "t");
}

TEST_F(ConfigStoreTest, Broken_file_is_not_quoted) {
  Write(kCloudFile, R"({"RegistrationKey": s3cret})");
  EXPECT_FALSE(Open()->Save());
  EXPECT_THAT(Log(), AllOf(HasSubstr("line 1, column "), Not(HasSubstr("s3cret"))));
}

TEST_F(ConfigStoreTest, Texts_that_are_not_utf8_are_refused) {
  const auto store = Open();
  EXPECT_EQ(store->SetText(host::kXAuthToken, "\xff").Text(), "is not UTF-8");
  EXPECT_EQ(store->Text(host::kXAuthToken), "");
  const auto set = [&store](const std::string& member) {
    return store->SetMember(host::kChassis, member, host::JsonRef(json_object())).Text();
  };
  EXPECT_EQ(set("\xff"), "is not UTF-8");
  EXPECT_EQ(set(std::string("a\0b", 3)), "holds a NUL byte");
  EXPECT_EQ(set(""), "is empty");
  ASSERT_TRUE(store->Save());
  EXPECT_EQ(Read(kCloudFile), "{}\n");
}

TEST_F(ConfigStoreTest, Cleared_object_takes_what_others_added_along) {
  Write(kCloudFile, R"({"Chassis": {"a": {"VelocityInstance": 0}}})");
  const auto store = Open();
  Write(kCloudFile, R"({"Chassis": {"a": {"VelocityInstance": 0}, "b": {"VelocityInstance": 1}}})");
  store->ClearObject(host::kChassis);
  EXPECT_FALSE(store->SetMember(host::kChassis, "c",
                                host::JsonRef(json_pack("{s:i}", "VelocityInstance", 2))));
  ASSERT_TRUE(store->Save());
  EXPECT_EQ(Read(kCloudFile),
            "{\n  \"Chassis\": {\n    \"c\": {\n      \"VelocityInstance\": 2\n    }\n  }\n}\n");
}

TEST_F(ConfigStoreTest, Member_of_a_mistyped_object_replaces_it) {
  Write(kCloudFile, R"({"Chassis": 7})");
  const auto store = Open();
  ASSERT_FALSE(store->SetMember(host::kChassis, "a", host::JsonRef(json_object())));
  EXPECT_EQ(json_object_size(store->Object(host::kChassis).get()), 1u);
}

TEST_F(ConfigStoreTest, Key_and_token_are_secrets_whether_read_or_set) {
  Write(kCloudFile,
        R"({"RegistrationKey": "key-4711", "Url": "https://x", "XAuthToken": "first"})");
  const auto store = Open();
  EXPECT_FALSE(store->SetText(host::kXAuthToken, "second"));
  EXPECT_FALSE(store->SetText(host::kXAuthToken, ""));
  EXPECT_EQ(host::WithoutSecrets("key-4711 https://x first second"),
            "******** https://x ******** ********");
}
