// SPDX-License-Identifier: Apache-2.0
// Makes each allocation of a commit, a load and other operations fail, once and from there on.
//
//   allocation_host DIRECTORY [--short]
//
// Status 1 when an operation raises what it may not, a result code is wrong, a file is not what the
// result says, something is left behind, or a later try does not succeed.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>

#include "reliability/campaigns/Bodies.h"
#include "reliability/campaigns/FailingAllocations.h"
#include "streams/RetryPause.h"
#include "tests/samples/Samples.h"

namespace {

namespace fs = std::filesystem;
using campaigns::allocations;
using Files = std::map<std::string, std::string>;

constexpr int kRaised = 4;
constexpr int kNewKey = 5;

/// Where things stand, for the message of a death that nothing catches.
char where[256] = "";

struct Case {
    std::string name;
    bool text = false;
    int size = 0;
    int key = kNewKey;
    fs::path directory{};

    std::string Path() const { return (directory / "FILE.dat").string(); }
    std::shared_ptr<IPOBase> Writer() const {
        auto object = campaigns::Open(name, Path(), text, true, true);
        campaigns::Fill(*object, key, size);
        return object;
    }
    std::shared_ptr<IPOBase> Reader() const {
        return campaigns::Open(name, Path(), text, false, false);
    }
    void Put(const Files& files) const {
        fs::remove_all(directory);
        fs::create_directories(directory);
        for (const auto& [file, content] : files)
            std::ofstream(directory / file, std::ios::binary) << content;
    }
    /// What is there, without error logs and marks of an append, which may stay: they only cost the
    /// next commit a look through the file.
    Files Get() const {
        Files files;
        for (const auto& entry : fs::directory_iterator(directory)) {
            const auto ending = entry.path().extension();
            if (ending == ".err" || ending == ".undo") continue;
            std::ostringstream content;
            content << std::ifstream(entry.path(), std::ios::binary).rdbuf();
            files[entry.path().filename().string()] = content.str();
        }
        return files;
    }
};

class Campaign {
public:
    explicit Campaign(bool isShort) : most(isShort ? 60 : 600) {}

    void RunFirstCommits(const Case& what) { Commits(what, {}, Written(what, {}, {kNewKey}), {}); }

    void Run(const Case& what) {
        const Files before = Written(what, {}, {0, 1});
        const Files after = Written(what, before, {kNewKey});
        RunFirstCommits(what);
        Commits(what, before, after, before);
        if (samples::Appends(what.name)) {
            SecondCommits(what, before);
            Files torn = before;
            torn["FILE.dat"] +=
                after.at("FILE.dat")
                    .substr(before.at("FILE.dat").size(),
                            (after.at("FILE.dat").size() - before.at("FILE.dat").size()) / 2);
            torn["FILE.dat.undo"] = std::to_string(before.at("FILE.dat").size());
            Commits(what, torn, after, before);
        }
        Loads(what, after);
        Storages(what, before);
        Destructors(what, before, after);
        Deletions(what, before);
    }

    int Close() const {
        for (const auto& [what, number] : counts)
            std::cout << "  " << number << "  " << what << '\n';
        std::cout << "  " << faults << " faults\n";
        return faults == 0 ? 0 : 1;
    }

private:
    long most;  // allocations that are made to fail per operation
    long faults = 0;
    std::map<std::string, long> counts;

    /// The files after undisturbed commits of these keys upon `files`.
    static Files Written(const Case& what, const Files& files, const std::vector<int>& keys) {
        what.Put(files);
        for (const int key : keys) {
            const auto object = campaigns::Open(what.name, what.Path(), what.text, true, true);
            campaigns::Fill(*object, key, what.size);
            if (object->Commit(false) != 0) throw std::runtime_error("no sample of " + what.name);
        }
        return what.Get();
    }

    static std::string Listed(const Files& files) {
        std::string list;
        for (const auto& [file, content] : files)
            list += ' ' + file + ' ' + std::to_string(content.size());
        return list;
    }

    void Require(bool condition, const std::string& message) {
        if (condition) return;
        ++faults;
        std::cout << "  FAULT " << where << ": " << message << '\n';
    }

    /// Runs `trial(operation)` for every allocation, where `operation` wraps what is to run short
    /// of memory and gives its result.
    template <typename Trial>
    void ForEveryAllocation(const Case& what, const std::string& title, Trial trial) {
        long total = 0;
        const auto counting = [&](auto action) {
            allocations = {0, 0, false};
            const int result = action();
            total = allocations.count;
            return result;
        };
        std::snprintf(where, sizeof where, "%s %s undisturbed", title.c_str(), what.name.c_str());
        trial(counting);
        const long step = std::max(1L, total / most);
        for (const bool lasting : {false, true}) {
            for (long failing = 1; failing <= total; failing += step) {
                std::snprintf(where, sizeof where, "%s %s %s, size %d, allocation %ld%s of %ld",
                              title.c_str(), what.name.c_str(), what.text ? "text" : "binary",
                              what.size, failing, lasting ? " and all later ones" : "", total);
                ++counts[title + ": allocations that failed"];
                trial([&](auto action) {
                    int result = kRaised;
                    allocations = {0, failing, lasting};
                    try {
                        result = action();
                    } catch (...) {  // judged by the caller
                    }
                    allocations.failing = 0;
                    ++counts[title + ": result " + std::to_string(result)];
                    return result;
                });
            }
        }
    }

    void Commits(const Case& what, const Files& before, const Files& after, const Files& mended) {
        const std::string title =
            before.count("FILE.dat.undo") != 0 ? "commit behind a torn tail" : "commit";
        what.Put(before);
        const Files torn = what.Get();
        ForEveryAllocation(what, title, [&](auto operation) {
            what.Put(before);
            const auto object = what.Writer();
            const std::string held = samples::Describe(*object);
            const int result = operation([&] { return object->Commit(false); });
            const Files left = what.Get();
            Require(result == 0 || result == 1, "result " + std::to_string(result));
            if (result == 0) return Require(left == after, "0, but the files are" + Listed(left));
            Require(left == torn || left == mended, "1, but the files are now" + Listed(left));
            Require(samples::Describe(*object) == held, "the object lost data");
            Require(object->Commit(false) == 0 && what.Get() == after, "a second try fails");
        });
    }

    /// A commit of an object that has committed before, with another writer's body in between.
    void SecondCommits(const Case& what, const Files& before) {
        Case other = what;
        other.key = kNewKey + 1;
        ForEveryAllocation(what, "second commit", [&](auto operation) {
            what.Put({});
            const auto object = what.Writer();
            object->Commit(false);
            other.Writer()->Commit(false);
            const Files both = what.Get();
            const int result = operation([&] { return object->Commit(true); });
            const Files left = what.Get();
            if (result == 0) return Require(left != both, "0, but nothing was written");
            Require(left == both, "1, but the files are now" + Listed(left));
            object->DeleteStorage();  // it would commit once more
        });
        what.Put(before);
    }

    void Loads(const Case& what, const Files& files) {
        what.Put(files);
        const auto whole = what.Reader();
        whole->Load();
        const std::string expected = samples::Describe(*whole);
        ForEveryAllocation(what, "load", [&](auto operation) {
            auto object = what.Reader();
            const int result = operation([&] { return object->Load(); });
            Require(result <= 2, "a load raises");
            Require(what.Get() == files, "a load changed files");
            if (result == 0) Require(samples::Describe(*object) == expected, "0, but wrong data");
            const auto type = what.text ? IPOBase::eReadText : IPOBase::eReadBinary;
            object->CreateStorageInterface(type, false);
            Require(object->Load() == 0 && samples::Describe(*object) == expected,
                    "a second load of the object fails");
        });
    }

    void Storages(const Case& what, const Files& before) {
        ForEveryAllocation(what, "build storage", [&](auto operation) {
            what.Put(before);
            const auto object = what.Writer();
            const auto type = what.text ? IPOBase::eWriteText : IPOBase::eWriteBinary;
            const int result =
                operation([&] { return object->CreateStorageInterface(type, true); });
            Require(result == 0 || result == 1, "result " + std::to_string(result));
            Require(object->Commit(false) == 0, "a commit afterwards fails");
        });
    }

    void Destructors(const Case& what, const Files& before, const Files& after) {
        ForEveryAllocation(what, "destructor that commits", [&](auto operation) {
            what.Put(before);
            auto object = what.Writer();
            operation([&] {
                object.reset();
                return 0;
            });
            const Files left = what.Get();
            Require(left == before || left == after, "the files are now" + Listed(left));
        });
    }

    void Deletions(const Case& what, const Files& before) {
        ForEveryAllocation(what, "deletion", [&](auto operation) {
            what.Put(before);
            const auto object = what.Writer();
            const int result = operation([&] { return object->DeleteStorage(); });
            const Files left = what.Get();
            Require(result != 0 || left.empty(), "0, but these are left:" + Listed(left));
            if (result != 0) {
                object->DeleteStorage();
                Require(what.Get().empty(), "a second deletion fails");
            }
            object->CreateStorageInterface(IPOBase::eReadBinary, false);  // nothing to commit to
        });
    }
};

[[noreturn]] void ReportDeath() {
    allocations.failing = 0;
    std::cout << "  FAULT " << where << ": the process was terminated" << std::endl;
    std::_Exit(1);
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 2) return 2;
    const bool isShort = count > 2 && std::string(arguments[2]) == "--short";
    std::set_terminate(&ReportDeath);
    fieldstore::SetPauseFunction([](std::chrono::microseconds) {});
    std::cout << "Failing allocations:\n";
    std::vector<Case> cases;
    for (const auto& name : samples::ClassNames())
        for (const bool text : {false, true}) cases.push_back({name, text});
    for (const char* name : {"POModeInfo", "POCircuitMatrices", "POAssemblyInfo", "POMeshTree"})
        cases.push_back({name, false, 40000});
    Campaign campaign(isShort);
    for (Case& each : cases) {
        each.directory = fs::path(arguments[1]) / "allocations";
        campaign.Run(each);
    }
    campaign.RunFirstCommits({"PODOFList", false, 20, kNewKey, cases.front().directory});
    fs::remove_all(fs::path(arguments[1]) / "allocations");
    return campaign.Close();
}
