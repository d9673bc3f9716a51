// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "reliability/fuzz/Support.h"
#include "reliability/fuzz/ToolSupport.h"
#include "tests/samples/SampleFiles.h"
#include "tests/samples/Samples.h"

// Writes the first inputs of every target into the directory of its argument: the samples of the
// tests, behind the bytes with which the target chooses.
namespace {

using namespace fieldstore::fuzz;

std::string root;
int written = 0;

void Seed(const std::string& target, const std::string& choice, const std::string& content) {
    const std::string directory = root + target + "/";
    std::filesystem::create_directories(directory);
    WriteFile(directory + std::to_string(written++), choice + content);
}

std::string Byte(std::size_t value) {
    return {static_cast<char>(value)};
}
std::string Number(std::size_t value) {
    constexpr unsigned bits = 8;
    return Byte(value & 0xFFU) + Byte(value >> bits);
}

/// A sample as it stands in a file.
std::string Sample(const std::string& name, bool text, int variant, const std::string& version,
                   bool blocked = false) {
    const auto object = samples::New(name);
    samples::Fill(*object, variant);
    if (blocked) dynamic_cast<IPODOFList&>(*object).SetSelectedBlock(-1);
    object->SetVersion(version);
    return Stored(*object, text).value();
}

void SeedTool(std::size_t classNumber, const std::string& one, const std::string& other,
              bool appends) {
    constexpr std::size_t merge = 13, diff = 14;
    const std::size_t classes = samples::ClassNames().size();
    for (std::size_t command = 0; command < kToolCommands; ++command) {
        const std::string choice = Byte(command) + Byte(classNumber + command % 2 * classes);
        if (command == merge || command == diff)
            Seed("tool", choice + Number(one.size()), one + other);
        else
            Seed("tool", choice, appends ? one + other : one);
    }
}

void SeedJson(const std::string& file, const std::string& name, const WorkDirectory& work) {
    WriteFile(work / "file.dat", file);
    const std::string json = work / "file.json";
    RunTool({"dump", work / "file.dat", "--class", name, "-o", json, "--force"});
    for (const unsigned choice : {0U, 2U}) Seed("build", Byte(choice), ReadFile(json));
    Seed("build", Byte(0), "{\"x\":\2[\200\2]\200}");
}

/// Definitions that ask for as many values as there are after a merge, one more, and far more.
void SeedClaims(const std::string& mergeChoice, bool text) {
    for (int function = IPOSolutionMetrics::eReplace; function <= IPOSolutionMetrics::eMin;
         ++function) {
        for (const std::uint32_t count : {2U, 3U, 1U << 24U}) {
            const auto body = ClaimingMetrics(text, function, count, 2, 1);
            Seed("merge", mergeChoice + Number(body.size()), body + body);
        }
    }
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) return 2;
    root = arguments[1] + std::string("/");
    const WorkDirectory work;
    const auto& names = samples::ClassNames();
    for (const bool text : {false, true}) {
        std::size_t appending = 0;
        for (std::size_t number = 0; number < names.size(); ++number) {
            const std::string& name = names[number];
            const std::string one = Sample(name, text, 0, "v 1");
            const std::string plain = Sample(name, text, 0, ""), other = Sample(name, text, 1, "");
            const std::string choice = Byte(number + (text ? names.size() : 0));
            for (const auto& content : {one, plain, one + other}) Seed("load", choice, content);
            SeedTool(number, one, other, samples::Appends(name));
            if (!text) SeedJson(one, name, work);
            if (!samples::Appends(name)) continue;
            constexpr std::size_t appendingClasses = 4;
            const std::string mergeChoice = Byte(appending++ + (text ? appendingClasses : 0));
            Seed("merge", mergeChoice + Number(one.size()), one + other);
            Seed("merge", mergeChoice + Number(one.size()), one + one);
            if (name == "POSolutionMetrics") SeedClaims(mergeChoice, text);
        }
    }
    const std::string blocked = Sample("PODOFList", false, 0, "", true);
    constexpr std::size_t dofList = 4, header = 11 * sizeof(int) + sizeof(std::uint64_t);
    SeedTool(dofList, blocked, blocked, false);
    SeedJson(blocked, "PODOFList", work);
    Seed("block", Byte(0) + Number(1), blocked);
    constexpr std::size_t index = 8 + 2 * (6 + 8);  // two bookmarks with names of 6 bytes
    Seed("block", Byte(1), blocked.substr(header, index));
    for (std::size_t choice = 0; choice < 4; ++choice) Seed("block", Byte(2) + Byte(choice), "v 1");
    for (const char* text : {"-123.4567890123456 ", "1.5e-05\n", "0.0001234567890123456 7",
                             "0.000000000000000000000000.0000000"})
        Seed("number", Byte(0), text);
    // Where fixed notation begins and ends, and what has few or uneven neighbours.
    const double doubles[] = {0.1, 9.3, 1e5, 123456, -1e-4, 1e-5, 1e23, 1e22, 5e-324};
    Seed("number", Byte(1), std::string(reinterpret_cast<const char*>(doubles), sizeof doubles));
    std::cout << written << " seeds\n";
    return 0;
}
