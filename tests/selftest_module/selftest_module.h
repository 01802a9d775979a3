#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <stop_token>
#include <string>
#include <vector>

#include "service/sdk/module.h"

namespace selftest {

// A module that does whatever a module should not, one deed in each test. Settings:
//   selftest/asked    a path: a device that is asked for its resources adds its number to that file
//   selftest/begun    a path: each scan makes that file when it begins
//   selftest/devices  how many devices there are, 2 by default
//   selftest/file     a path: of a file that read-file reads
//   selftest/ids      "same": each device has the id 0
//   selftest/marker   a path: while there is a file, the scan does not find device 0
//   selftest/piece-bytes  how long the one resource of each device is; by default as its name
//   selftest/probed   a path: each scan, and each device for its resources, asks for the use of the
//                     root file system, and adds a "y" to that file when it is told, "n" when not
//   selftest/resources  a deed that device 1 commits when it is asked for its resources, or "slow",
//                     or "leave-call", as for scans
//   selftest/scan     a deed that each scan commits, or "slow": one that waits for its stop,
//                     or "leave-call": one of which a read of the file hangs
//   selftest/scan-at  how many devices it has found when it does, none by default
//   selftest/throwing a path: while there is a file, a scan throws
//   selftest/tool     a deed that the tool commits, or one of its own
//   selftest/tests    how many tests of no length the diagnostic N has, 1 by default
//   selftest/tool-name    of the tool, in place of that of a repair
//   selftest/tool-writes  anything: the tool may write
//   selftest/unique-ids  what each device has for a unique id in place of its own; "none": an
//                     empty one, "throw": asking for it throws
//   selftest/waiting  a path: while there is a file, a scan waits for its stop
class SelftestModule final : public orvan::sdk::Module {
 public:
  explicit SelftestModule(const orvan::sdk::ModuleEnvironment& environment);

  std::string Name() const override { return "Selftest"; }
  ProductVersion Version() const override { return {1, 0, 0, 0}; }
  orvan::sdk::ModuleHelp Help() const override { return {"does what no module should."}; }
  const std::vector<orvan::sdk::DiagnosticRecord>& Diagnostics() const override {
    return diagnostics_;
  }
  const std::vector<orvan::sdk::ToolRecord>& Tools() const override { return tools_; }
  void ScanDevices(orvan::sdk::ScanContext& scan) override;

 private:
  std::string Setting(const std::string& name) const;
  std::unique_ptr<orvan::sdk::Device> MakePart(std::uint64_t number, std::uint64_t place) const;
  void MisbehaveWhenAsked(std::uint64_t number, const std::stop_token& stop) const;
  // What a search does before its device of that place; behind the last one when there is none.
  void MisbehaveAt(std::uint64_t place, const std::stop_token& stop) const;

  orvan::sdk::Machine* const machine_;
  const std::map<std::string, std::string> settings_;
  std::vector<orvan::sdk::DiagnosticRecord> diagnostics_;
  std::vector<orvan::sdk::ToolRecord> tools_;
};

}  // namespace selftest
