// Hosts that use the companion's headers themselves while they link a library that offers the same
// members.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "mivare/mivare.h"
#include "orlo/bson.h"
#include "orlo/event_bus.h"
#include "orlo/logger.h"
#include "orlo/uuid.h"

namespace {

TEST(OrloInHosts, CarriesBson) {
  const std::map<std::string, std::vector<double>> curves = {{"gain", {0.5, 1.0}}, {"pan", {}}};
  orlo::BsonPacker packer;
  packer << orlo::BsonMapSize(2) << "curves" << curves << "id" << orlo::Uuid().ToString();
  const std::vector<uint8_t> bytes = packer.Take();

  orlo::BsonUnpacker unpacker(bytes);
  orlo::BsonMapSize size;
  std::string key;
  std::map<std::string, std::vector<double>> read;
  orlo::BsonBox id;
  EXPECT_TRUE(unpacker >> size >> key >> read >> key >> id);
  EXPECT_EQ(read, curves);
  EXPECT_TRUE(id == orlo::BsonBox("00000000-0000-0000-0000-000000000000"));
}

TEST(OrloInHosts, SharesTheBusWithTheLibrary) {
  NUXMivareDefaultAllocatorInit(nullptr);
  orlo::AsyncEventBus* bus = orlo::GetGlobalEventBus();
  ASSERT_NE(bus, nullptr);
  int heard = 0;
  const auto token = bus->Subscribe<orlo::SystemEvent>([&](const auto& e) { heard += e.code; });
  EXPECT_TRUE(bus->Post(orlo::SystemEvent{1, ""}));
  EXPECT_FALSE(bus->IsWorkerThread());
  bus->Flush();
  EXPECT_EQ(heard, 1);
  bus->Unsubscribe(token);
  orlo::ReleaseGlobalEventBus();
  NUXMivareDefaultAllocatorUninit();
}

TEST(OrloInHosts, HasBusesOfItsOwn) {
  std::string heard;
  {
    orlo::AsyncEventBus bus;
    bus.Subscribe<std::string>([&](const std::string& text) { heard += text; });
    bus.Post(std::string("a"));
    bus.Post(std::string("b"));
  }
  EXPECT_EQ(heard, "ab");
}

}  // namespace
