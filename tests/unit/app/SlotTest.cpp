// SPDX-License-Identifier: Apache-2.0
// The framework of the appliance calls the application by the slots of its virtual operations.
#include <array>
#include <cstring>

#include "AppTest.h"
#include "fakes/Slots.h"
#include "platform/framework/LxBaseProxyApp.h"

namespace cloudclient {
namespace {

using fakes::SlotOf;

constexpr size_t kSlots = 21;

// The entry of an object's table of virtual operations.
template <typename Object>
const void* EntryOf(const Object& object, size_t slot) {
  const char* table = nullptr;
  std::memcpy(&table, static_cast<const void*>(&object), sizeof table);
  const void* entry = nullptr;
  std::memcpy(&entry, table + slot * sizeof entry, sizeof entry);
  return entry;
}

TEST(SlotTest, Operations_have_the_slots_that_the_framework_calls) {
  EXPECT_EQ(SlotOf(&CloudClient::OnStart), 2);
  EXPECT_EQ(SlotOf(&CloudClient::DoWork), 3);
  EXPECT_EQ(SlotOf(&CloudClient::OnStop), 4);
  EXPECT_EQ(SlotOf(&CloudClient::OnRunning), 5);
  EXPECT_EQ(SlotOf(&CloudClient::HandleSigTerm), 6);
  EXPECT_EQ(SlotOf(&CloudClient::HandleSigPipe), 7);
  EXPECT_EQ(SlotOf(&CloudClient::HandleVelInventoryEvent), 8);
  EXPECT_EQ(SlotOf(&CloudClient::HandleCfgEvent), 9);
  EXPECT_EQ(SlotOf(&CloudClient::HandleSystemEvent), 10);
  EXPECT_EQ(SlotOf(&CloudClient::HandleLifeEvent), 11);
  EXPECT_EQ(SlotOf(&CloudClient::HandleRemoteSvcEvent), 12);
  EXPECT_EQ(SlotOf(&CloudClient::RequiresEventListener), 13);
  EXPECT_EQ(SlotOf(&CloudClient::GetEventListenerPort), 14);
  EXPECT_EQ(SlotOf(&CloudClient::InitServerCfg), 15);
  EXPECT_EQ(SlotOf(&CloudClient::ServerIsEnabled), 16);
  EXPECT_EQ(SlotOf(&CloudClient::InitOnStart), 17);
  EXPECT_EQ(SlotOf(&CloudClient::HandleLocalServerPsiInfo), 18);
  EXPECT_EQ(SlotOf(&CloudClient::MngDevDiscovered), 19);
  EXPECT_EQ(SlotOf(&CloudClient::MngDevLost), 20);
}

TEST(SlotTest, Operations_of_the_application_itself_have_no_slot) {
  EXPECT_EQ(SlotOf(&CloudClient::IsEnabled), -1);
  EXPECT_EQ(SlotOf(&CloudClient::HasValidConfiguration), -1);
  EXPECT_EQ(SlotOf(&CloudClient::ConnectWithCloudService), -1);
  EXPECT_EQ(SlotOf(&CloudClient::Register), -1);
  EXPECT_EQ(SlotOf(&CloudClient::Unregister), -1);
  EXPECT_EQ(SlotOf(&CloudClient::GetManagerInstance), -1);
  EXPECT_EQ(SlotOf(&CloudClient::PostChassisInstance), -1);
  EXPECT_EQ(SlotOf(&CloudClient::ReconcileWithCloudService), -1);
  EXPECT_EQ(SlotOf(&CloudClient::ReconcileChassis), -1);
}

// Which class an operation comes from: its entry is that class's own, in whose parent's table
// another one stands.
class SlotOwnerTest : public AppTest {
 protected:
  enum Level { kApp, kKyros, kProxy, kClient };

  void ExpectOwner(size_t slot, Level owner) {
    const std::array<const void*, 4> entries = {slot < 8 ? EntryOf(m_base, slot) : nullptr,
                                                slot < 15 ? EntryOf(m_kyros, slot) : nullptr,
                                                EntryOf(m_proxy, slot), EntryOf(App(), slot)};
    for (size_t level = 0; level < entries.size(); ++level) {
      if (level < static_cast<size_t>(owner)) {
        EXPECT_NE(entries[level], entries[kClient]) << "slot " << slot << " level " << level;
      } else {
        EXPECT_EQ(entries[level], entries[kClient]) << "slot " << slot << " level " << level;
      }
    }
  }

 private:
  LxBaseApp m_base{"base"};
  LxBaseKyrosApp m_kyros{"kyros"};
  LxBaseProxyApp m_proxy{"proxy"};
};

TEST_F(SlotOwnerTest, Operations_come_from_the_classes_that_the_framework_expects) {
  const std::array<Level, kSlots> owners = {
      kClient, kClient,                                    // destructors
      kClient, kClient, kClient,                           // OnStart, DoWork, OnStop
      kKyros,  kKyros,  kKyros,                            // OnRunning and the signals
      kProxy,  kClient,                                    // inventory, configuration
      kKyros,  kKyros,  kKyros,  kKyros, kKyros,           // the other events and the listener
      kProxy,  kProxy,  kProxy,  kProxy, kProxy, kProxy};  // the device
  for (size_t slot = 0; slot < kSlots; ++slot) ExpectOwner(slot, owners[slot]);
}

}  // namespace
}  // namespace cloudclient
