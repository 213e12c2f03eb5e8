#include "mount_entry_reader.h"

#include <sys/types.h>

#include <cstdlib>
#include <cstring>

namespace {

constexpr const char* kBlanks = " \t";

bool isBlank(char character) {
    return character == ' ' || character == '\t';
}

// The character that an escape at text stands for, or '\0'; length receives the escape's length. Only these five are
// escapes to the system library: the kernel's \043 stays as it is.
char escapedCharacter(const char* text, size_t& length) {
    struct Escape {
        const char* text;
        size_t length;
        char character;
    };
    static constexpr Escape kEscapes[] = {
        {"\\040", 4, ' '}, {"\\011", 4, '\t'}, {"\\012", 4, '\n'}, {"\\134", 4, '\\'}, {"\\\\", 2, '\\'}};
    for (const Escape& escape : kEscapes) {
        if (std::strncmp(text, escape.text, escape.length) == 0) {
            length = escape.length;
            return escape.character;
        }
    }
    return '\0';
}

// Decodes in place.
void decode(char* field) {
    char* write = std::strchr(field, '\\');
    if (write == nullptr) {
        return;
    }
    for (const char* read = write; *read != '\0';) {
        size_t length = 1;
        const char character = *read == '\\' ? escapedCharacter(read, length) : '\0';
        *write++ = character != '\0' ? character : *read;
        read += length;
    }
    *write = '\0';
}

// Ends the field at text, which may be null, and moves text to the next one: null behind the last.
char* cutField(char*& text) {
    static char noField[] = "";
    if (text == nullptr) {
        return noField;
    }
    char* field = text;
    text = std::strpbrk(field, kBlanks);
    if (text != nullptr) {
        *text++ = '\0';
        text += std::strspn(text, kBlanks);
    }
    return field;
}

}  // namespace

MountEntryReader::MountEntryReader(std::FILE* stream) : stream_(stream) {}

MountEntryReader::~MountEntryReader() {
    std::free(line_);
}

// The next line that holds an entry, without blanks around it; null at the end.
char* MountEntryReader::readLine() {
    while (true) {
        const ssize_t length = ::getline(&line_, &size_, stream_);
        if (length < 0) {
            failed_ = std::feof(stream_) == 0;
            return nullptr;
        }
        char* end = line_ + length;
        if (length > 0 && end[-1] == '\n') {
            do {
                --end;
            } while (end != line_ && isBlank(end[-1]));
            *end = '\0';
        } else if (std::ferror(stream_) != 0) {
            failed_ = true;  // the rest of this line is missing
            return nullptr;
        }
        char* start = line_;
        while (isBlank(*start)) {
            ++start;
        }
        if (*start != '\0' && *start != '#') {
            return start;
        }
    }
}

// value null: any entry will do.
mntent* MountEntryReader::search(Key key, const std::string_view* value) {
    while (char* rest = readLine()) {
        entry_.mnt_fsname = cutField(rest);
        entry_.mnt_dir = cutField(rest);
        char* keyField = key == Key::kDevice ? entry_.mnt_fsname : entry_.mnt_dir;
        decode(keyField);
        if (value != nullptr && *value != keyField) {
            continue;
        }
        decode(key == Key::kDevice ? entry_.mnt_dir : entry_.mnt_fsname);
        entry_.mnt_type = cutField(rest);
        entry_.mnt_opts = cutField(rest);
        decode(entry_.mnt_type);
        decode(entry_.mnt_opts);
        if (std::strcmp(entry_.mnt_type, "autofs") != 0 || hasmntopt(&entry_, "ignore") == nullptr) {
            return &entry_;
        }
    }
    return nullptr;
}

mntent* MountEntryReader::find(Key key, std::string_view value) {
    return search(key, &value);
}

mntent* MountEntryReader::next() {
    return search(Key::kDevice, nullptr);
}
