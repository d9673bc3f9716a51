// SPDX-License-Identifier: Apache-2.0
//
// Writes the manual pages and the completions for shells, from the definition of the command line.
//
// Usage: fieldstore_manual DIRECTORY DATE
//
// Makes DIRECTORY/man1/fieldstore*.1, DIRECTORY/fieldstore (bash) and DIRECTORY/_fieldstore (zsh).
// Status 0, or 1 with a message.

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>

#include "tool/Program.h"
#include "tool/manual/Manual.h"

namespace fieldstore::tool {
namespace {

class File : public std::ofstream {
public:
    explicit File(const std::filesystem::path& file) : std::ofstream(file), path(file) {}
    void Finish() {
        close();
        if (!*this) throw std::runtime_error(path.string() + " cannot be written");
    }

private:
    const std::filesystem::path path;
};

void WriteManual(const std::filesystem::path& directory, const std::string& date) {
    const Manual manual = TakeApart(Program().Definition());

    const auto pages = directory / "man1";
    std::filesystem::remove_all(pages);  // with those of commands that are no more
    std::filesystem::create_directories(pages);
    const auto writePage = [&](const std::string& name, const Command* command) {
        File page(pages / (name + ".1"));
        WritePage(manual, command, date, page);
        page.Finish();
    };
    writePage(kProgramName, nullptr);
    for (const Command& command : manual.commands)
        writePage(std::string(kProgramName) + "-" + command.name, &command);

    File bash(directory / kProgramName);
    WriteBashCompletion(manual, bash);
    bash.Finish();
    File zsh(directory / (std::string("_") + kProgramName));
    WriteZshCompletion(manual, zsh);
    zsh.Finish();
}

}  // namespace
}  // namespace fieldstore::tool

int main(int count, char** arguments) {
    try {
        if (count != 3) throw std::runtime_error("Usage: fieldstore_manual DIRECTORY DATE");
        fieldstore::tool::WriteManual(arguments[1], arguments[2]);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
