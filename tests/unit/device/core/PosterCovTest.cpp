// SPDX-License-Identifier: Apache-2.0
// The poster thread's way with changes of value.
#include <stdexcept>

#include "CoreTest.h"
#include "base/Policy.h"

namespace device_core {

using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::SizeIs;
using Deliver = cloudclient::Policy::Changes::Deliver;

class PosterCovsTest : public CoreTest {
 protected:
  void Queue(uint32_t pointId) { mgr->AddDeviceCOV(Change(pointId).notification); }

  static void Use(Deliver deliver) {
    cloudclient::Policy policy;
    policy.changes.deliver = deliver;
    cloudclient::UsePolicy(policy);
  }

  static std::vector<std::string> Chassis() {
    std::vector<std::string> ids;
    for (const ProcessedCov& cov : patch().covs) ids.push_back(cov.chassisId);
    return ids;
  }
};

TEST_F(PosterCovsTest, Only_the_first_of_a_pass_is_delivered) {
  inPass[1] = [&] {
    Queue(1201);
    Queue(1202);
    Queue(1203);
  };
  RunPoster(3);
  EXPECT_THAT(patch().covs, ElementsAre(Field(&ProcessedCov::pointId, 1201)));
  EXPECT_FALSE(mgr->HasCovs());
}

TEST_F(PosterCovsTest, With_all_each_is_delivered_in_order) {
  Use(Deliver::kAll);
  inPass[1] = [&] {
    for (const uint32_t point : {1202u, 1201u, 1202u}) Queue(point);
  };
  RunPoster(2);
  EXPECT_THAT(patch().covs,
              ElementsAre(Field(&ProcessedCov::pointId, 1202), Field(&ProcessedCov::pointId, 1201),
                          Field(&ProcessedCov::pointId, 1202)));
  EXPECT_THAT(patch().newest, IsEmpty());
}

TEST_F(PosterCovsTest, With_all_what_one_throws_fails_that_one) {
  Use(Deliver::kAll);
  patch().onCov = [&] {
    patch().onCov = nullptr;
    throw std::runtime_error("patch");
  };
  inPass[1] = [&] {
    for (const uint32_t point : {1201u, 1202u}) Queue(point);
  };
  RunPoster(2);
  EXPECT_THAT(patch().covs, ElementsAre(Field(&ProcessedCov::pointId, 1202)));
}

TEST_F(PosterCovsTest, With_all_a_stop_ends_it_after_the_one_under_way) {
  Use(Deliver::kAll);
  patch().onCov = [&] { mgr->Stop(); };
  inPass[1] = [&] {
    for (const uint32_t point : {1201u, 1202u}) Queue(point);
  };
  RunPoster(1);
  EXPECT_THAT(patch().covs, SizeIs(1));
}

TEST_F(PosterCovsTest, With_latest_the_newest_of_each_point_is_handed_over_at_once) {
  Use(Deliver::kLatest);
  inPass[1] = [&] {
    for (const int reading : {100, 200, 300}) {
      Change change(reading == 200 ? 1202 : 1201);
      change.notification.extra = static_cast<uint16_t>(reading);
      change.buffer[0] = static_cast<char>(reading >> 8);
      change.buffer[1] = static_cast<char>(reading & 0xFF);
      mgr->AddDeviceCOV(change.notification);
    }
  };
  RunPoster(2);
  EXPECT_THAT(patch().covs, IsEmpty());
  ASSERT_THAT(patch().newest, SizeIs(1));
  const NewestCovs& newest = patch().newest[0];
  ASSERT_THAT(newest.changes, SizeIs(2));
  EXPECT_EQ(newest.changes[0].pointId, 1201);
  EXPECT_EQ(newest.changes[0].reading, 300);
  EXPECT_EQ(newest.changes[0].extra, 300);
  EXPECT_EQ(newest.changes[1].pointId, 1202);
  EXPECT_EQ(newest.changes[1].reading, 200);
  EXPECT_EQ(newest.client, https.get());
  EXPECT_EQ(newest.chassisId, "17");
  EXPECT_EQ(newest.uuid, kUuid);
  EXPECT_EQ(newest.label, "Unit label");
  EXPECT_TRUE(newest.goesOn);
}

TEST_F(PosterCovsTest, Each_pass_delivers_one) {
  for (int pass = 1; pass <= 3; ++pass) {
    inPass[pass] = [this, pass] { Queue(1200 + static_cast<uint32_t>(pass)); };
  }
  RunPoster(4);
  EXPECT_THAT(patch().covs,
              ElementsAre(Field(&ProcessedCov::pointId, 1201), Field(&ProcessedCov::pointId, 1202),
                          Field(&ProcessedCov::pointId, 1203)));
}

TEST_F(PosterCovsTest, Everything_of_the_record_is_handed_on) {
  Change change(4000000000u);
  change.notification.status = 0x00020003;
  change.notification.extra = 0xBEEF;
  for (size_t i = 0; i < sizeof change.buffer; ++i) change.buffer[i] = static_cast<char>(i);
  engine.points[4329] = "Rack 4";
  inPass[1] = [&] { mgr->AddDeviceCOV(change.notification); };
  RunPoster(1);
  ASSERT_THAT(patch().covs, SizeIs(1));
  const ProcessedCov& cov = patch().covs[0];
  EXPECT_EQ(cov.deviceId, 0x00020003u);
  EXPECT_EQ(cov.pointId, -294967296);
  EXPECT_EQ(cov.extra, 0xBEEF);
  EXPECT_EQ(cov.value, std::string(change.buffer, sizeof change.buffer));
  EXPECT_EQ(cov.client, https.get());
  EXPECT_EQ(cov.chassisId, "17");
  EXPECT_EQ(cov.uuid, kUuid);
  EXPECT_EQ(cov.label, "Rack 4");
  EXPECT_THAT(Lines(4), IsEmpty());
}

TEST_F(PosterCovsTest, The_label_is_asked_of_the_low_half_of_the_first_word) {
  Change change(1201);
  change.notification.status = 0x00020003;
  inPass[1] = [&] { mgr->AddDeviceCOV(change.notification); };
  RunPoster(1);
  ASSERT_THAT(engine.pointsAsked, SizeIs(1));
  const fakes::PointQuery& query = engine.pointsAsked[0];
  EXPECT_EQ(query.device, 3);
  EXPECT_EQ(query.point, 4329);
  EXPECT_EQ(query.arg2, 1);
  EXPECT_EQ(query.arg3, 0);
  EXPECT_EQ(query.arg4, 0);
  EXPECT_EQ(query.arg5, 0);
  EXPECT_EQ(query.reserved, 0);
}

TEST_F(PosterCovsTest, A_label_that_cannot_be_read_is_empty) {
  engine.pointStatus[4329] = 5;
  inPass[1] = [&] { Queue(1201); };
  RunPoster(1);
  EXPECT_THAT(patch().covs, ElementsAre(Field(&ProcessedCov::label, "")));
  EXPECT_THAT(Lines(4), IsEmpty());
}

TEST_F(PosterCovsTest, Each_label_is_read_afresh) {
  inPass[1] = [&] { Queue(1201); };
  inPass[2] = [&] {
    engine.pointStatus[4329] = 5;
    Queue(1202);
  };
  RunPoster(2);
  EXPECT_THAT(patch().covs, ElementsAre(Field(&ProcessedCov::label, "Unit label"),
                                        Field(&ProcessedCov::label, "")));
}

TEST_F(PosterCovsTest, Are_delivered_without_a_proxy) {
  inPass[1] = [&] {
    mgr->SetPldProxy(nullptr);
    Queue(1201);
  };
  RunPoster(1);
  EXPECT_THAT(patch().covs, ElementsAre(Field(&ProcessedCov::label, "")));
}

TEST_F(PosterCovsTest, Go_to_the_last_chassis_of_the_map_at_first) {
  platform.cloud.chassis = {{"a", 0}, {"b", 0}, {"c", 1}};
  inPass[1] = [&] { Queue(1201); };
  RunPoster(1);
  EXPECT_THAT(Chassis(), ElementsAre("c"));
}

TEST_F(PosterCovsTest, Go_to_the_second_of_two_chassis_of_one_device_at_first) {
  platform.cloud.chassis = {{"a", 0}, {"b", 0}};
  inPass[1] = [&] { Queue(1201); };
  RunPoster(1);
  EXPECT_THAT(Chassis(), ElementsAre("b"));
}

TEST_F(PosterCovsTest, Go_to_the_chassis_of_the_event_before_them) {
  platform.cloud.chassis = {{"a", 0}, {"b", 1}};
  inPass[1] = [&] {
    Queue(1201);
    Raise(4711, 0, 3, 0);  // of the same pass, and events come first
  };
  inPass[2] = [&] { Queue(1202); };
  RunPoster(2);
  EXPECT_THAT(Chassis(), ElementsAre("a", "a"));
}

TEST_F(PosterCovsTest, Go_to_the_chassis_of_an_event_that_was_known_already) {
  platform.cloud.chassis = {{"a", 0}, {"b", 1}};
  inPass[1] = [&] { Raise(4711, 0, 3, 0); };
  inPass[2] = [&] { Raise(4711, 0, 3, 1); };
  inPass[3] = [&] {
    Raise(4711, 0, 3, 0);
    Queue(1201);
  };
  RunPoster(3);
  EXPECT_THAT(Chassis(), ElementsAre("a"));
}

TEST_F(PosterCovsTest, Stay_with_their_chassis_after_an_event_without_one) {
  platform.cloud.chassis = {{"a", 0}, {"b", 1}};
  inPass[1] = [&] { Raise(4711, 0, 3, 0); };
  inPass[2] = [&] {
    Raise(4711, 0, 3, 9);
    Queue(1201);
  };
  RunPoster(2);
  EXPECT_THAT(Chassis(), ElementsAre("a"));
}

TEST_F(PosterCovsTest, Go_to_the_last_chassis_of_the_daily_synchronisation_after_it) {
  platform.cloud.chassis = {{"a", 0}, {"b", 1}};
  service.answers("GET", "/redfish/v1/Oem/Quorvan:Events?*", 200, "[]");
  inPass[1] = [&] {
    platform.cloud.chassis["z"] = 2;
    cloudclient::DeviceMgr::SetAlarmSyncRequested(true);
    Queue(1201);  // comes before the synchronisation of its pass
  };
  inPass[2] = [&] { Queue(1202); };
  RunPoster(2);
  EXPECT_THAT(Chassis(), ElementsAre("b", "z"));
}

TEST_F(PosterCovsTest, Have_no_chassis_when_none_was_ever_seen) {
  platform.cloud.chassis.clear();
  platform.cloud.numChassis = 1;
  inPass[1] = [&] { Queue(1201); };
  RunPoster(1);
  EXPECT_THAT(Chassis(), ElementsAre(""));
}

TEST_F(PosterCovsTest, Wait_for_the_next_pass_when_the_queue_cannot_be_locked) {
  service.answers("GET", "/redfish/v1/Oem/Quorvan:Events?*", 200, "[]");
  inPass[1] = [&] {
    Queue(1201);
    cloudclient::DeviceMgr::SetAlarmSyncRequested(true);
    platform.mutexes.lockStatusOf[1] = 22;
  };
  inPass[2] = [&] {
    EXPECT_THAT(Lines(4), ElementsAre("3 CloudPoster: Failed to get the cov list lock"));
    EXPECT_THAT(patch().covs, IsEmpty());
    EXPECT_FALSE(cloudclient::DeviceMgr::IsAlarmSyncRequested());  // served in that pass
    platform.mutexes.lockStatusOf.clear();
  };
  RunPoster(2);
  EXPECT_THAT(patch().covs, ElementsAre(Field(&ProcessedCov::pointId, 1201)));
}

TEST_F(PosterCovsTest, Are_delivered_with_the_queue_unlocked) {
  int held = -1;
  patch().onCov = [&] {
    held = platform.mutexes.Held();
    if (patch().covs.empty()) Queue(1202);  // arrives meanwhile
  };
  inPass[1] = [&] { Queue(1201); };
  RunPoster(2);
  EXPECT_EQ(held, 0);
  EXPECT_THAT(patch().covs, SizeIs(2));
}

TEST_F(PosterCovsTest, What_delivering_throws_fails_that_one) {
  patch().onCov = [&] {
    patch().onCov = nullptr;
    throw std::runtime_error("patch");
  };
  inPass[1] = [&] { Queue(1201); };
  inPass[2] = [&] { Queue(1202); };
  RunPoster(19);
  EXPECT_THAT(patch().covs, ElementsAre(Field(&ProcessedCov::pointId, 1202)));
  EXPECT_THAT(service.requests("POST", kHeartbeatPath), SizeIs(1));
  EXPECT_THAT(Lines(4), ElementsAre("3 CloudPoster: an operation ended early: patch"));
}

}  // namespace device_core
