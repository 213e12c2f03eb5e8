// The file (or standard error) that trace lines are appended to.
#pragma once

#include <string_view>

namespace znfi_runtime {

class TraceFile {
  public:
    TraceFile() = default;
    TraceFile(const TraceFile&) = delete;
    TraceFile& operator=(const TraceFile&) = delete;
    ~TraceFile();

    // Appends to path from now on; null: standard error. 0, or an errno and everything stays as it was. Only a regular
    // file that has one name, or a character device, is taken.
    int open(const char* path) noexcept;
    // All of it in one write where the system takes it so; what cannot be written is lost.
    void append(std::string_view bytes) const noexcept;

  private:
    void use(int descriptor) noexcept;

    int descriptor_ = -1;  // -1: standard error
};

}  // namespace znfi_runtime
