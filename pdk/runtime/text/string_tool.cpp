#include <algorithm>
#include <cstring>
#include <new>

#include "cfistringtool.h"

zfi_tstring CFiStringTool::str2tstr(const char* text) {
    return str2tstr(std::string(text == nullptr ? "" : text));
}

// The string type shows by a null text only that it had no memory, and to the next reader it is an empty one.
zfi_tstring CFiStringTool::str2tstr(const std::string& text) {
    zfi_tstring made(text.data(), text.size());
    if (made.c_str() == nullptr) {
        throw std::bad_alloc();
    }
    return made;
}

std::string CFiStringTool::tstr2str(const zfi_tstring& text) {
    return std::string(text.c_str(), text.length());
}

std::string CFiStringTool::tostrupper(const std::string& text) {
    std::string upper = text;
    for (char& c : upper) {
        if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
    return upper;
}

std::string CFiStringTool::rtrim(const std::string& text, const char* set) {
    if (set == nullptr) {
        return text;
    }
    return text.substr(0, text.find_last_not_of(set) + 1);
}

bool CFiStringTool::find(const std::vector<std::string>& lines, const std::string& text) {
    return std::any_of(lines.begin(), lines.end(),
                       [&](const std::string& line) { return line.find(text) != std::string::npos; });
}

std::string CFiStringTool::join(const std::vector<std::string>& lines) {
    size_t size = 0;
    for (const std::string& line : lines) {
        size += line.size();
    }
    std::string joined;
    joined.reserve(size);
    for (const std::string& line : lines) {
        joined += line;
    }
    return joined;
}

// The pointers and behind them the texts, in one block: there is nothing to take back when memory runs out half-way.
char** CFiStringTool::tstrduplist(const std::vector<zfi_tstring>& texts) {
    const size_t pointers = (texts.size() + 1) * sizeof(char*);
    size_t size = pointers;
    for (const zfi_tstring& text : texts) {
        size += text.length() + 1;
    }
    void* block = ::operator new(size, std::nothrow);
    if (block == nullptr) {
        return nullptr;
    }
    char** list = static_cast<char**>(block);
    char* copy = static_cast<char*>(block) + pointers;
    for (size_t i = 0; i < texts.size(); ++i) {
        list[i] = copy;
        std::copy_n(texts[i].c_str(), texts[i].length(), copy);  // an empty one may have no characters at all
        copy[texts[i].length()] = '\0';
        copy += texts[i].length() + 1;
    }
    list[texts.size()] = nullptr;
    return list;
}

void CFiStringTool::tstrfreelist(char** texts) {
    ::operator delete(texts);
}
