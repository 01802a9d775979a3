#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "service/recording/redactor.h"
#include "service/recording/tape.h"
#include "service/sdk/machine.h"

// What a recording machine hands out: each passes everything on to the part that it stands before,
// and records the answers.
namespace orvan::recording {

// What all parts of one recording machine share.
struct Recorder {
  Redactor redactor;
  Tape tape;
  std::string worker;  // what names of readers and writers begin with
  std::atomic<std::uint64_t> opened{0};

  // A name that no other part of this module has.
  std::string NextName() { return worker + '.' + std::to_string(opened++); }
};

class RecordingFiles final : public sdk::MachineFiles {
 public:
  RecordingFiles(const sdk::MachineFiles& inner, std::shared_ptr<Recorder> recorder)
      : inner_(inner), recorder_(std::move(recorder)) {}

 private:
  std::optional<std::string> DoReadBytes(const std::string& path, std::size_t limit,
                                         int& error) const override;
  std::optional<std::string> DoReadAt(const std::string& path, std::uint64_t offset,
                                      std::size_t size, int& error) const override;
  std::optional<std::string> DoReadLink(const std::string& path, int& error) const override;
  std::vector<std::string> DoList(const std::string& path, int& error) const override;
  bool DoExists(const std::string& path, int& error) const override;
  std::optional<std::string> ToldPart(const std::string& real, std::uint64_t offset,
                                      const std::string& part) const;

  const sdk::MachineFiles& inner_;
  const std::shared_ptr<Recorder> recorder_;
};

class RecordingState final : public sdk::ModuleState {
 public:
  RecordingState(sdk::ModuleState& inner, std::shared_ptr<Recorder> recorder)
      : inner_(inner), recorder_(std::move(recorder)) {}
  std::optional<std::string> Read(const std::string& name, int& error) const override;
  int Replace(const std::string& name, const std::string& content) override;
  int Append(const std::string& name, const std::string& content) override;
  int Remove(const std::string& name) override;
  std::vector<std::string> List(int& error) const override;

 private:
  FieldWriter Access(const char* kind, const std::string& name) const;

  sdk::ModuleState& inner_;
  const std::shared_ptr<Recorder> recorder_;
};

std::unique_ptr<sdk::BlockReader> RecordReader(std::unique_ptr<sdk::BlockReader> inner,
                                               std::string name,
                                               std::shared_ptr<Recorder> recorder);
std::unique_ptr<sdk::BlockWriter> RecordWriter(std::unique_ptr<sdk::BlockWriter> inner,
                                               std::string name,
                                               std::shared_ptr<Recorder> recorder);
std::unique_ptr<sdk::FilesystemProbe> RecordProbe(std::unique_ptr<sdk::FilesystemProbe> inner,
                                                  std::shared_ptr<Recorder> recorder);
std::unique_ptr<sdk::LockedMemory> RecordMemory(std::unique_ptr<sdk::LockedMemory> inner,
                                                std::string name,
                                                std::shared_ptr<Recorder> recorder);

}  // namespace orvan::recording
