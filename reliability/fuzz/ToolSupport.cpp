// SPDX-License-Identifier: Apache-2.0
#include "reliability/fuzz/ToolSupport.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <streambuf>

#include "reliability/fuzz/Support.h"
#include "tool/Error.h"
#include "tool/Program.h"
#include "tool/Terminal.h"

namespace fieldstore::fuzz {
namespace fs = std::filesystem;
namespace {

/// Takes everything and keeps nothing; nothing that is shown may steer a terminal.
class Screen : public std::streambuf {
protected:
    int overflow(int c) override {
        if (c == EOF) return 0;
        Require(c == '\n' || c == '\t' || (c >= ' ' && c != 0x7F), "no control character is shown");
        const bool obeyed = last == 0xC2 && c >= 0x80 && c < 0xA0;
        Require(!obeyed, "nor one in UTF-8");
        last = c;
        return c;
    }
    std::streamsize xsputn(const char* text, std::streamsize count) override {
        for (const char* c = text; c != text + count; ++c) overflow(static_cast<unsigned char>(*c));
        return count;
    }

private:
    int last = 0;
};

/// Silences a stream for a scope.
class Silence {
public:
    explicit Silence(std::ostream& silenced)
        : stream(silenced), previous(silenced.rdbuf(&screen)) {}
    ~Silence() { stream.rdbuf(previous); }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

private:
    Screen screen;
    std::ostream& stream;
    std::streambuf* previous;
};

}  // namespace

WorkDirectory::WorkDirectory() {
    std::string name = (fs::temp_directory_path() / "fieldstore-fuzz-XXXXXX").string();
    Require(mkdtemp(name.data()) != nullptr, "a directory can be made");
    path = name + "/";
    setenv("TMPDIR", name.c_str(), 1);
}

WorkDirectory::~WorkDirectory() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

void WorkDirectory::Empty() const {
    for (const auto& entry : fs::directory_iterator(path)) fs::remove_all(entry.path());
}

void WriteFile(const std::string& path, std::string_view content) {
    std::ofstream(path, std::ios::binary) << content;
}

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

int RunTool(const std::vector<std::string>& arguments) {
    const Silence results(std::cout), talk(std::cerr);
    tool::Program program;
    const tool::Action action = program.Parse(arguments);
    try {
        const int status = action();
        Require(status >= tool::kDone && status <= tool::kTrouble, "a status is one of three");
        return status;
    } catch (const tool::Error& error) {
        tool::Say(error);
        return tool::kTrouble;  // as main() has it
    } catch (const std::exception& error) {
        tool::Say(error.what());
        return tool::kTrouble;
    }
}

}  // namespace fieldstore::fuzz
