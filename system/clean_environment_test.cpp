#include "system/clean_environment.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> Kept(std::vector<std::string> variables) {
  std::vector<char*> environment;
  for (std::string& variable : variables) environment.push_back(variable.data());
  environment.push_back(nullptr);
  tarvex::KeepAllowedVariables(environment.data());
  std::vector<std::string> kept;
  for (char** at = environment.data(); *at != nullptr; ++at) kept.emplace_back(*at);
  return kept;
}

TEST(KeepAllowedVariables, KeepsThoseOfThisProgramInTheirOrder) {
  EXPECT_THAT(Kept({"ORVAN_SCENARIO=/a/b.json", "A=b", "TARVEX_RUN_DIR=/r", "TARVEX_STATE_DIR=s",
                    "B=", "ORVAN_MODULE_DIR=../m", "TARVEX_CONFIG_DIR=", "ORVAN_RECORD=r",
                    "ORVAN_REPLAY=/p", "ORVAN_RECORDS=x"}),
              ElementsAre("ORVAN_SCENARIO=/a/b.json", "TARVEX_RUN_DIR=/r", "TARVEX_STATE_DIR=s",
                          "ORVAN_MODULE_DIR=../m", "TARVEX_CONFIG_DIR=", "ORVAN_RECORD=r",
                          "ORVAN_REPLAY=/p"));
}

TEST(KeepAllowedVariables, TakesOutAllElse) {
  EXPECT_THAT(Kept({"PATH=/bin", "HOME=/root", "SDL_DYNAMIC_API=x", "SDL_AUDIODRIVER=alsa",
                    "DBUS_SYSTEM_BUS_ADDRESS=x", "DBUS_SESSION_BUS_ADDRESS=x", "PULSE_SERVER=x",
                    "XDG_RUNTIME_DIR=/x", "ALSA_CONFIG_PATH=/x", "LOCPATH=/x", "TZDIR=/x",
                    "GCONV_PATH=/x", "LANGUAGE=de", "TARVEX_TEST=x", "POSIXLY_CORRECT=1"}),
              IsEmpty());
}

TEST(KeepAllowedVariables, TakesOutWhatHasNoNameOrAnother) {
  EXPECT_THAT(Kept({"", "=", "=x", "LANG", "TZ", "LC_ALL", "LC_", "TARVEX_RUN_DIRS=/x",
                    "XTARVEX_RUN_DIR=/x", "TARVEX_RUN=/x", "LANGX=x", "lang=x"}),
              IsEmpty());
  EXPECT_THAT(Kept({}), IsEmpty());
}

TEST(KeepAllowedVariables, KeepsLocalesAndTerminalsThatNameNoPath) {
  EXPECT_THAT(
      Kept({"LANG=de_DE.UTF-8", "LC_ALL=C", "LC_TIME=", "LC_X=y@euro", "TERM=xterm-256"}),
      ElementsAre("LANG=de_DE.UTF-8", "LC_ALL=C", "LC_TIME=", "LC_X=y@euro", "TERM=xterm-256"));
  EXPECT_THAT(Kept({"LANG=/tmp/x", "LC_ALL=../x", "LC_TIME=x/", "LC_=/", "TERM=../../tmp/x"}),
              IsEmpty());
}

TEST(KeepAllowedVariables, KeepsTimeZonesOfTheSystemAlone) {
  EXPECT_THAT(Kept({"TZ=Europe/Berlin", "TZ=:UTC", "TZ=CET-1CEST,M3.5.0,M10.5.0/3", "TZ="}),
              ElementsAre("TZ=Europe/Berlin", "TZ=:UTC", "TZ=CET-1CEST,M3.5.0,M10.5.0/3", "TZ="));
  EXPECT_THAT(Kept({"TZ=/tmp/x", "TZ=:/tmp/x", "TZ=../../../tmp/x", "TZ=:../x", "TZ=a/../../x",
                    "TZ=Europe/.."}),
              IsEmpty());
}

}  // namespace
