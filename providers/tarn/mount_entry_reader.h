// Finds one entry of a mount table, reading a stream from where it stands.
#pragma once

#include <mntent.h>

#include <cstddef>
#include <cstdio>
#include <string_view>

// Reads what the system library's getmntent_r would read with a buffer that no line overflows: the same fields, octal
// escapes, comments and skipped lines (also the autofs entries with the option "ignore"). It decodes only the fields of
// the entry it hands back, so that a search costs little more than reading the table. Lines may be of any length; none
// is cut. One thread at a time; the stream is the caller's.
class MountEntryReader {
  public:
    enum class Key { kDevice, kMountPoint };

    explicit MountEntryReader(std::FILE* stream);
    MountEntryReader(const MountEntryReader&) = delete;
    MountEntryReader& operator=(const MountEntryReader&) = delete;
    ~MountEntryReader();

    // The next entry in file order whose decoded key field is exactly value; null when there is none, or after a read
    // error (see failed()). The entry lives until the next call and with this object; freq and passno are not read.
    mntent* find(Key key, std::string_view value);
    // The next entry of all.
    mntent* next();

    // Did the search end because the stream could not be read (or memory was out), and not because it was over?
    bool failed() const { return failed_; }

  private:
    char* readLine();
    mntent* search(Key key, const std::string_view* value);

    std::FILE* stream_;
    char* line_ = nullptr;
    std::size_t size_ = 0;
    bool failed_ = false;
    mntent entry_ = {};
};
