#include "util/platform_identity.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <list>
#include <map>
#include <new>
#include <string>

#include "platform/settings_store.h"

namespace {

using ::testing::_;
using ::testing::DoAll;
using ::testing::Return;
using ::testing::SetArgPointee;
using ::testing::StrEq;
using ::testing::StrictMock;

class Services {
 public:
  MOCK_METHOD(char*, ReadSetting, (const char* key));
  MOCK_METHOD(int, ReadSystemInformation, (system_info_key_e key, char** value));
};

Services* services = nullptr;
/// How often each text that a service handed over was freed.
std::map<void*, int>* frees = nullptr;
bool memoryExhausted = false;
/// Whether memory runs out at a service's answer.
bool answerTakesTheLast = false;

}  // namespace

// The program's own definitions come before the platform libraries'.
// What GoogleMock allocates after an answer comes before memory runs out.
char* vconf_get_str(const char* key) {
  char* setting = services->ReadSetting(key);
  memoryExhausted = answerTakesTheLast;
  return setting;
}
int system_info_get_value_string(system_info_key_e key, char** value) {
  const int result = services->ReadSystemInformation(key, value);
  memoryExhausted = answerTakesTheLast;
  return result;
}

// The linker's --wrap=free leads the program's calls here.
extern "C" void RealFree(void* memory) __asm__("__real_free");
extern "C" void CountedFree(void* memory) __asm__("__wrap_free");
extern "C" void CountedFree(void* memory) {
  if (frees == nullptr || frees->count(memory) == 0) {
    RealFree(memory);
    return;
  }
  ++(*frees)[memory];
  // The text stays the test's own, so that a second free is counted. Whoever reads it after the
  // first one reads something else.
  std::memset(memory, '!', std::strlen(static_cast<char*>(memory)));
}

// The compiler may neither inline these nor know what they call: it would take one of the pair for
// a mismatch or a leak.
extern "C" void* Allocate(std::size_t size) __asm__("malloc");
[[gnu::noinline]] void* operator new(std::size_t size) {
  void* memory = memoryExhausted ? nullptr : Allocate(size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { RealFree(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { RealFree(memory); }

namespace {

class PlatformIdentityTest : public testing::Test {
 protected:
  void SetUp() override {
    services = &platform;
    frees = &counts;
  }

  void TearDown() override {
    services = nullptr;
    frees = nullptr;
    for (const auto& [text, count] : counts) {
      EXPECT_EQ(count, 1) << "frees of a text that a service handed over";
    }
  }

  /// Returns a text that must be freed exactly once.
  char* HandOver(const std::string& text) {
    char* handed = texts.emplace_back(text).data();
    counts[handed] = 0;
    return handed;
  }

  StrictMock<Services> platform;

 private:
  std::list<std::string> texts;
  std::map<void*, int> counts;
};

struct Value {
  const char* name;
  std::string text;
};

const Value kValues[] = {
    {"short", "R58N123"},
    {"empty", ""},
    {"longer than a string holds in place", std::string(300, 's')},
    {"bytes that are no ASCII", "\x01\x7f\x80\xff"},
};

TEST_F(PlatformIdentityTest, SerialNumber_StoreHasOne_IsItsText) {
  for (const Value& value : kValues) {
    SCOPED_TRACE(value.name);
    EXPECT_CALL(platform, ReadSetting(StrEq("db/comss/serialnumber")))
        .WillOnce(Return(HandOver(value.text)));
    testing::internal::CaptureStdout();
    const std::string serialNumber = GetSerialNumber();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(serialNumber, value.text);
  }
}

TEST_F(PlatformIdentityTest, SerialNumber_StoreHasNone_IsEmpty) {
  EXPECT_CALL(platform, ReadSetting(StrEq("db/comss/serialnumber"))).WillOnce(Return(nullptr));
  testing::internal::CaptureStdout();
  const std::string serialNumber = GetSerialNumber();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "GetSerialNumber from vconf error\n");
  EXPECT_EQ(serialNumber, "");
}

TEST_F(PlatformIdentityTest, SystemInformation_ServiceAnswers_IsItsText) {
  for (const Value& value : kValues) {
    SCOPED_TRACE(value.name);
    EXPECT_CALL(platform, ReadSystemInformation(SYSTEM_INFO_BOARD_REVISION, _))
        .WillOnce(DoAll(SetArgPointee<1>(HandOver(value.text)), Return(0)));
    testing::internal::CaptureStdout();
    const std::string text = GetSysInfoStringValue(SYSTEM_INFO_BOARD_REVISION);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(text, value.text);
  }
}

TEST_F(PlatformIdentityTest, SystemInformation_KeyRefused_IsEmpty) {
  for (const int code : {1, -1, -22}) {
    SCOPED_TRACE(code);
    EXPECT_CALL(platform, ReadSystemInformation(SYSTEM_INFO_MODEL_NAME, _)).WillOnce(Return(code));
    testing::internal::CaptureStdout();
    const std::string text = GetSysInfoStringValue(SYSTEM_INFO_MODEL_NAME);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Failed to read string option\n");
    EXPECT_EQ(text, "");
  }
}

TEST_F(PlatformIdentityTest, SystemInformation_TextWithAnError_IsNotTaken) {
  for (const int code : {1, -1, -22}) {
    SCOPED_TRACE(code);
    char kept[] = "the service's own";
    EXPECT_CALL(platform, ReadSystemInformation(SYSTEM_INFO_MODEL_NAME, _))
        .WillOnce(DoAll(SetArgPointee<1>(kept), Return(code)));
    testing::internal::CaptureStdout();
    const std::string text = GetSysInfoStringValue(SYSTEM_INFO_MODEL_NAME);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Failed to read string option\n");
    EXPECT_EQ(text, "");
  }
}

TEST_F(PlatformIdentityTest, SystemInformation_SuccessWithoutText_IsEmpty) {
  // The service leaves the pointer alone, which therefore has to be null before.
  EXPECT_CALL(platform, ReadSystemInformation(SYSTEM_INFO_BUILD_IDENTIFIER, _)).WillOnce(Return(0));
  testing::internal::CaptureStdout();
  const std::string text = GetSysInfoStringValue(SYSTEM_INFO_BUILD_IDENTIFIER);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Failed to read string option\n");
  EXPECT_EQ(text, "");
}

TEST_F(PlatformIdentityTest, Text_MemoryRunsOut_IsFreed) {
  char* setting = HandOver(std::string(300, 's'));
  char* option = HandOver(std::string(300, 'o'));
  EXPECT_CALL(platform, ReadSetting(_)).WillOnce(Return(setting));
  EXPECT_CALL(platform, ReadSystemInformation(_, _))
      .WillOnce(DoAll(SetArgPointee<1>(option), Return(0)));
  answerTakesTheLast = true;
  // gtest's own handling of an exception allocates.
  const auto throwsBadAlloc = [](auto&& call) {
    try {
      call();
    } catch (const std::bad_alloc&) {
      memoryExhausted = false;
      return true;
    }
    memoryExhausted = false;
    return false;
  };
  EXPECT_TRUE(throwsBadAlloc([] { GetSerialNumber(); }));
  EXPECT_TRUE(throwsBadAlloc([] { GetSysInfoStringValue(SYSTEM_INFO_MODEL_NAME); }));
  answerTakesTheLast = false;
}

}  // namespace
