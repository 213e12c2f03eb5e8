// Preloaded into the program under test: the mount tables that it reads name another type for one mount point. For
// roads of types that this kernel does not have; commands that the program starts see the tables as they are.
//
//     TARNFI_TEST_SEEN_AS=POINT=TYPE
#include <dlfcn.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Open = FILE*(const char*, const char*);

Open* realOpen() {
    void* symbol = dlsym(RTLD_NEXT, "fopen");
    Open* function = nullptr;
    std::memcpy(&function, &symbol, sizeof(symbol));
    return function;
}

bool isTable(const std::string& path) {
    return path == "/proc/self/mountinfo" || path == "/proc/mounts" || path == "/proc/self/mounts" ||
           path == "/etc/mtab";
}

std::vector<std::string> wordsOf(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> words;
    for (std::string word; in >> word;) {
        words.push_back(word);
    }
    return words;
}

// Of a line of mountinfo (point fifth, type after " - ") or of mounts (point second, type third).
std::string seenAs(const std::string& line, const std::string& point, const std::string& type) {
    std::vector<std::string> words = wordsOf(line);
    if (words.size() > 4 && words[4] == point) {
        for (std::size_t i = 5; i + 1 < words.size(); ++i) {
            if (words[i] == "-") {
                words[i + 1] = type;
                break;
            }
        }
    } else if (words.size() > 3 && words[1] == point) {
        words[2] = type;
    } else {
        return line;
    }
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

FILE* openTable(const char* path, const char* mode, const std::string& wish) {
    FILE* table = realOpen()(path, mode);
    const int copy = table == nullptr ? -1 : memfd_create("seen_as", MFD_CLOEXEC);
    if (copy < 0) {
        return table;
    }
    const auto equals = wish.rfind('=');
    char* line = nullptr;
    std::size_t size = 0;
    for (ssize_t length = 0; (length = getline(&line, &size, table)) > 0;) {
        const std::string text(line, static_cast<std::size_t>(length - 1));
        const std::string seen = seenAs(text, wish.substr(0, equals), wish.substr(equals + 1)) + "\n";
        if (write(copy, seen.data(), seen.size()) < 0) {
            std::abort();
        }
    }
    std::free(line);
    std::fclose(table);
    lseek(copy, 0, SEEK_SET);
    return fdopen(copy, "r");
}

FILE* openAny(const char* path, const char* mode) {
    const char* wish = std::getenv("TARNFI_TEST_SEEN_AS");
    return wish != nullptr && isTable(path) ? openTable(path, mode, wish) : realOpen()(path, mode);
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) FILE* fopen(const char* path, const char* mode) {
    return openAny(path, mode);
}

__attribute__((visibility("default"))) FILE* fopen64(const char* path, const char* mode) {
    return openAny(path, mode);
}
}
