// Replaces the current (child) process with a program built in this tree.
// In a cross build the tests themselves run under an emulator that cannot
// follow an exec into another target program, so the program is started
// through the same emulator (VG_TEST_EMULATOR: its command line, items
// separated by ';', empty in a native build).
#pragma once

#include <string>
#include <unistd.h>
#include <vector>

#ifndef VG_TEST_EMULATOR
#define VG_TEST_EMULATOR ""
#endif

[[noreturn]] inline void exec_program(const std::string &path, const std::vector<std::string> &args)
{
    std::vector<std::string> words;
    const std::string emulator = VG_TEST_EMULATOR;
    for (size_t start = 0; start < emulator.size();) {
        const size_t end = emulator.find(';', start);
        words.push_back(emulator.substr(start, end - start));
        start = end == std::string::npos ? emulator.size() : end + 1;
    }
    words.push_back(path);
    words.insert(words.end(), args.begin(), args.end());
    std::vector<char *> argv;
    for (auto &w : words)
        argv.push_back(w.data());
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
}
