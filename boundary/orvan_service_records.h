#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

// What a diagnostic or a test says about its identity.
struct DiagKey {
  std::uint32_t major = 0;       // version part of a test; its low 16 bits are shown
  std::uint32_t minor = 0;       // version part of a test; the kind of a diagnostic
  std::uint64_t build = 0;       // version part of a test; its low 32 bits are shown
  std::uint64_t identifier = 0;  // identity: equal identifiers belong together
};

// Catalogues are ordered by the identifier alone.
inline bool operator<(const DiagKey& left, const DiagKey& right) {
  return left.identifier < right.identifier;
}

// Kinds of a diagnostic, in DiagKey::minor. Other values belong to neither class.
inline constexpr std::uint32_t kDiagnosticKindQuick = 1;
inline constexpr std::uint32_t kDiagnosticKindExtended = 2;

// What a device says about itself. All texts are UTF-8.
struct DeviceInformation {
  std::string name;                                          // display name
  std::string reserved;                                      // not read by the front end
  std::vector<std::pair<std::string, std::string>> entries;  // (value, label), in display order
  std::map<std::string, std::string> properties;             // e.g. "NonRotatingMedia": "T" or "F"
};

// One element of a device's resource list, such as a partition.
struct DiagResource {
  std::string type;                                        // e.g. "PARTITION"
  std::vector<std::pair<std::string, std::string>> pairs;  // (label, value)
};

// Types of a test parameter. Other values are shown as unknown.
inline constexpr std::int32_t kParameterBoolean = 0;
inline constexpr std::int32_t kParameterText = 1;
inline constexpr std::int32_t kParameterInteger = 2;
inline constexpr std::int32_t kParameterUnknown = 4;

// A parameter that a test accepts, or one that the user gave with his value written in.
struct TestParameter {
  std::string name;   // compared without regard to case
  std::string label;  // message key
  std::string detail;
  std::string initialValue;
  std::string value;
  std::int32_t type = kParameterText;
  std::string extra;
  std::array<std::uint32_t, 2> range{};  // least and greatest value; both 0: no range is given
};

// Who runs the program: itself, or the caller that identified itself.
struct CallerInfo {
  std::string appName;
  std::string appVersion;
  std::string appKey;
  std::string cacheDir;
};
