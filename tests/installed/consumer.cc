#include <vam/driver/board_probe.h>
#include <vam/interface/ca_vam_interface_sp.h>
#include <vam/interface/trusted_application.h>
#include <vam/report/status_reader.h>
#include <vam/report/vam_result.h>
#include <vam/util/platform_identity.h>
#include <vam/util/randomness_and_hashing.h>
#include <vam/util/text_conversions.h>
#include <vam/version/compare_version.h>

#include <cstdint>
#include <cstring>
#include <iostream>
#include <string>

// Somebody else's program, which uses each of the installed libraries once.

int main() {
  std::cout << IsVamSupported() << std::endl;

  TEEC_UUID uuid;
  uuid.timeLow = vam::kUuidTimeLow;
  uuid.timeMid = vam::kUuidTimeMid;
  uuid.timeHiAndVersion = vam::kUuidTimeHiAndVersion;
  std::memcpy(uuid.clockSeqAndNode, vam::kUuidClockSeqAndNode, sizeof uuid.clockSeqAndNode);
  CaVamInterfaceSp vam(uuid);

  std::string systemVersion;
  std::string appVersion;
  VamResult result{-1, -1};
  const std::int32_t code = vam.vm_updateFW(11, systemVersion, appVersion, &result);
  std::cout << code << ' ' << systemVersion.c_str() << ' ' << appVersion.c_str() << '\n'
            << vamResultToStr(result) << std::endl;
  std::cout << (vam::ReadVerdict().outcome == vam::Outcome::kNone) << std::endl;
  std::cout << compareVersion("XX", "17") << std::endl;
  std::cout << GetSerialNumber() << std::endl;

  const unsigned char text[] = {'a', 'b', 'c'};
  unsigned char digest[32];
  std::uint32_t length = sizeof digest;
  const std::int32_t hashed = GetSHA256Hash(text, sizeof text, digest, &length);
  std::cout << hashed << ' ' << uint8_to_hex_string(digest, length) << std::endl;
}
