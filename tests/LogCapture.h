#pragma once

#include <glog/logging.h>

#include <string>
#include <vector>

namespace velmo::test {

// Records the glog messages sent while it lives, with their source file, so that tests can
// compare log lines exactly.
class LogCapture : public google::LogSink {
 public:
  struct Line {
    google::LogSeverity severity;
    std::string file;
    std::string text;
  };

  LogCapture() { google::AddLogSink(this); }
  ~LogCapture() override { google::RemoveLogSink(this); }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  using google::LogSink::send;
  void send(google::LogSeverity severity, const char* /*full_filename*/, const char* base_filename, int /*line*/,
            const google::LogMessageTime& /*time*/, const char* message, size_t message_len) override {
    lines.push_back({severity, base_filename, std::string(message, message_len)});
  }

  std::vector<std::string> texts() const {
    std::vector<std::string> out;
    for (const auto& line : lines) out.push_back(line.text);
    return out;
  }

  std::vector<Line> lines;
};

}  // namespace velmo::test
