// Text operations between the framework's string type, the standard library's and C arrays. Stateless; any thread.
#pragma once

#include <string>
#include <vector>

#include "cfistring.h"
#include "znfi.h"

class ZNFI_API CFiStringTool {
  public:
    // The build is narrow: conversion copies the bytes. A null pointer gives an empty string. std::bad_alloc when
    // memory is out.
    static zfi_tstring str2tstr(const char* text);
    static zfi_tstring str2tstr(const std::string& text);
    static std::string tstr2str(const zfi_tstring& text);
    // ASCII letters only, independent of the locale.
    static std::string tostrupper(const std::string& text);
    // text without trailing characters of set.
    static std::string rtrim(const std::string& text, const char* set);
    // Does any of the lines contain text?
    static bool find(const std::vector<std::string>& lines, const std::string& text);
    // All lines with nothing between them.
    static std::string join(const std::vector<std::string>& lines);
    // An array of copies ended by a null pointer; freed with tstrfreelist. Null when memory is out.
    static char** tstrduplist(const std::vector<zfi_tstring>& texts);
    static void tstrfreelist(char** texts);
};
