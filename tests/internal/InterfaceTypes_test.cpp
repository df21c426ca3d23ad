#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>

#include "internal/HostModels.h"
#include "internal/qor_internal.h"

using testing::StartsWith;

namespace {

constexpr unsigned int kInvalidType = 0x02000206;
constexpr unsigned int kFarOut[] = {88, 255, 256, 1000, 0x80000000u, 0xFFFFFFFFu};

const HostModel* ModelOf(unsigned int type) {
  const auto found = std::find_if(std::begin(kHostModels), std::end(kHostModels),
                                  [&](const HostModel& model) { return model.Type == type; });
  return found != std::end(kHostModels) ? found : nullptr;
}

unsigned int CommunicationOf(unsigned int type, unsigned short flags = 0) {
  const Qor_Internal_HostInterface_t host{type, 0xFFFF, flags};
  return Qor_Internal_GetHostCommunicationType(&host);
}

unsigned int ControllersOf(unsigned int type) {
  unsigned char count = 99;
  EXPECT_EQ(Qor_Internal_GetMaxNumberOfControllers(type, &count), 0u);
  return count;
}

}  // namespace

// ---- Interface types ---------------------------------------------------------------------------------------

TEST(InterfaceType, ExistsFromOneToSixteen) {
  EXPECT_EQ(Qor_Internal_CheckInterfaceType(0), kInvalidType);
  for (unsigned int type = 1; type <= 16; ++type) EXPECT_EQ(Qor_Internal_CheckInterfaceType(type), 0u) << type;
  EXPECT_EQ(Qor_Internal_CheckInterfaceType(17), kInvalidType);
  for (const auto type : kFarOut) EXPECT_EQ(Qor_Internal_CheckInterfaceType(type), kInvalidType) << type;
}

TEST(InterfaceType, IsTranslatedFromTheFirmwaresNumber) {
  const unsigned int expected[] = {0, 1, 4, 5, 6, 0, 0, 0, 0, 0, 0, 0, 3, 9, 0, 7, 0, 2, 8, 0, 12, 10, 11, 15, 14, 16};
  for (unsigned int firmware = 0; firmware <= 25; ++firmware) {
    EXPECT_EQ(Qor_Internal_TranslateInterfaceType_Fw2Api(firmware), expected[firmware]) << firmware;
  }
}

TEST(InterfaceType, OfAnUnknownFirmwareNumberIsZero) {
  EXPECT_EQ(Qor_Internal_TranslateInterfaceType_Fw2Api(26), 0u);
  for (const auto type : kFarOut) EXPECT_EQ(Qor_Internal_TranslateInterfaceType_Fw2Api(type), 0u) << type;
}

TEST(InterfaceType, HasAtMostOneFirmwareNumber) {
  std::set<unsigned int> seen;
  for (unsigned int firmware = 1; firmware <= 25; ++firmware) {
    const unsigned int type = Qor_Internal_TranslateInterfaceType_Fw2Api(firmware);
    if (type == 0) continue;
    EXPECT_EQ(Qor_Internal_CheckInterfaceType(type), 0u) << firmware;
    EXPECT_TRUE(seen.insert(type).second) << firmware;
  }
  EXPECT_EQ(seen.size(), 15u);  // all but 13
}

// ---- Host-interface types ----------------------------------------------------------------------------------

TEST(HostInterfaceType, ExistsBelowEightySeven) {
  for (unsigned int type = 0; type <= 86; ++type) EXPECT_EQ(Qor_Internal_CheckHostInterfaceType(type), 0u) << type;
  EXPECT_EQ(Qor_Internal_CheckHostInterfaceType(87), kInvalidType);
  for (const auto type : kFarOut) EXPECT_EQ(Qor_Internal_CheckHostInterfaceType(type), kInvalidType) << type;
}

TEST(HostInterfaceType, IsTranslatedFromTheFirmwaresNumberForEachModel) {
  std::map<unsigned int, unsigned int> expected;
  for (const auto& model : kHostModels) expected[model.FirmwareType] = model.Type;
  for (unsigned int firmware = 0; firmware <= 100; ++firmware) {
    const auto model = expected.find(firmware);
    EXPECT_EQ(Qor_Internal_TranslateHostInterfaceType_Fw2Api(firmware), model != expected.end() ? model->second : 87)
        << firmware;
  }
  EXPECT_EQ(Qor_Internal_TranslateHostInterfaceType_Fw2Api(1), 1u);
  EXPECT_EQ(Qor_Internal_TranslateHostInterfaceType_Fw2Api(84), 86u);
}

TEST(HostInterfaceType, OfAnUnknownFirmwareNumberIsNone) {
  EXPECT_EQ(Qor_Internal_TranslateHostInterfaceType_Fw2Api(0), 87u);
  EXPECT_EQ(Qor_Internal_TranslateHostInterfaceType_Fw2Api(85), 87u);
  for (const auto type : kFarOut) EXPECT_EQ(Qor_Internal_TranslateHostInterfaceType_Fw2Api(type), 87u) << type;
}

TEST(HostInterfaceType, OfAVariantIsThatOfTheModelInside) {
  const std::map<unsigned int, unsigned int> variants = {{10, 11}, {13, 14}, {15, 16}, {31, 23}, {44, 23},
                                                         {34, 22}, {41, 40}, {45, 25}, {46, 30}, {47, 27}};
  for (unsigned int type = 0; type <= 300; ++type) {
    const auto variant = variants.find(type);
    EXPECT_EQ(Qor_Internal_GetInternalHostInterfaceType(type), variant != variants.end() ? variant->second : type);
  }
  for (const auto type : kFarOut) EXPECT_EQ(Qor_Internal_GetInternalHostInterfaceType(type), type);
}

TEST(HostInterfaceType, HasItsModelsNumberOfControllers) {
  for (unsigned int type = 0; type <= 300; ++type) {
    const HostModel* model = ModelOf(type);
    EXPECT_EQ(ControllersOf(type), model != nullptr ? model->Controllers : 0u) << type;
  }
  for (const auto type : kFarOut) EXPECT_EQ(ControllersOf(type), 0u) << type;
  EXPECT_EQ(ControllersOf(86), 4u);
}

TEST(HostInterfaceType, RefusesToCountControllersIntoNothing) {
  EXPECT_EQ(Qor_Internal_GetMaxNumberOfControllers(1, nullptr), kInvalidType);
}

TEST(HostInterfaceType, HasItsModelsDescription) {
  for (unsigned int type = 0; type <= 300; ++type) {
    const HostModel* model = ModelOf(type);
    EXPECT_STREQ(Qor_Internal_GetHostInterfaceTypeDescription(type),
                 model != nullptr ? model->Description : "unknown device");
  }
  for (const auto type : kFarOut) EXPECT_STREQ(Qor_Internal_GetHostInterfaceTypeDescription(type), "unknown device");
  EXPECT_STREQ(Qor_Internal_GetHostInterfaceTypeDescription(3), "Norvik Lunde 2 U");
}

// ---- Communication types -----------------------------------------------------------------------------------

TEST(CommunicationType, IsTheModelsWithoutTheNetworkFlag) {
  for (unsigned int type = 0; type <= 300; ++type) {
    const HostModel* model = ModelOf(type);
    const unsigned int expected = model != nullptr ? model->Communication : 0u;
    for (const auto flags : std::initializer_list<unsigned short>{0x0000, 0x0001, 0x0002, 0x0008, 0xFFFB}) {
      EXPECT_EQ(CommunicationOf(type, flags), expected) << type;
    }
  }
  for (const auto type : kFarOut) EXPECT_EQ(CommunicationOf(type), 0u) << type;
}

TEST(CommunicationType, IsTheNetworksWithTheNetworkFlagWhateverTheModel) {
  for (const unsigned int type : {0u, 1u, 3u, 23u, 27u, 86u, 87u, 88u, 0xFFFFFFFFu}) {
    EXPECT_EQ(CommunicationOf(type, 0x04), 4u);
    EXPECT_EQ(CommunicationOf(type, 0x06), 5u);
    EXPECT_EQ(CommunicationOf(type, 0xFFFD), 4u);
    EXPECT_EQ(CommunicationOf(type, 0xFFFF), 5u);
  }
}

TEST(CommunicationType, ReadsTheRecordsFrontOnly) {
  // 0 type | 4 anything | 6 flags
  alignas(4) const unsigned char record[8] = {0x03, 0, 0, 0, 0xFF, 0xFF, 0x06, 0x00};
  EXPECT_EQ(Qor_Internal_GetHostCommunicationType(reinterpret_cast<const Qor_Internal_HostInterface_t*>(record)), 5u);
}

TEST(CommunicationType, OfNothingIsNone) { EXPECT_EQ(Qor_Internal_GetHostCommunicationType(nullptr), 0u); }

// ---- The models --------------------------------------------------------------------------------------------

TEST(HostModels, AreNamedAfterTheirMakerAndNumberOfControllers) {
  for (const auto& model : kHostModels) {
    const std::string text = model.Description;
    EXPECT_THAT(text, StartsWith("Norvik "));
    const auto figure = text.find_first_of("0123456789");
    ASSERT_NE(figure, std::string::npos) << text;
    EXPECT_EQ(text[figure] - '0', model.Controllers) << text;
  }
}

TEST(HostModels, HaveDifferentDescriptions) {
  std::set<std::string> seen;
  for (const auto& model : kHostModels) EXPECT_TRUE(seen.insert(model.Description).second) << model.Description;
}
