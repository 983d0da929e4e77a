// Runs the orvane-batch program built beside the test executables.
#pragma once

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <sstream>
#include <string>

// The program sits in the build folder, one above tests/.
inline std::string batch_program() {
    const auto exe = std::filesystem::read_symlink("/proc/self/exe");
    return (exe.parent_path().parent_path() / "orvane-batch").string();
}

// A path as one shell word.
inline std::string quoted(const std::string& path) {
    std::string word(1, '\'');
    word.append(path).push_back('\'');
    return word;
}

// Shell words joined by blanks.
inline std::string words(std::initializer_list<std::string> parts) {
    std::string line;
    for (const std::string& part : parts) {
        if (!line.empty()) line.push_back(' ');
        line.append(part);
    }
    return line;
}

// Runs it with `args` (shell words) and returns its exit status; standard
// output goes to `output` and standard error to `errors` when given. -1 when
// it could not run at all.
inline int run_batch(const std::string& args, std::string* output = nullptr,
                     std::string* errors = nullptr) {
    const std::string program = batch_program();
    if (!std::filesystem::exists(program)) {
        ADD_FAILURE() << program << " is missing: build the orvane-batch target";
        return -1;
    }
    const std::string err_file =
        std::filesystem::temp_directory_path() / ("batch_err_" + std::to_string(::getpid()));
    const std::string command = words({quoted(program), args, "2>" + quoted(err_file)});
    std::FILE* pipe = ::popen(command.c_str(), "r");
    if (!pipe) return -1;
    std::string text;
    char buffer[4096];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
        text.append(buffer, n);
    const int status = ::pclose(pipe);
    if (output) *output = text;
    if (errors) {
        std::ostringstream all;
        all << std::ifstream(err_file).rdbuf();
        *errors = all.str();
    }
    std::filesystem::remove(err_file);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
