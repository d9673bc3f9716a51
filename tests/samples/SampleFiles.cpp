// SPDX-License-Identifier: Apache-2.0
#include "tests/samples/SampleFiles.h"

#include "tests/samples/Samples.h"

namespace fieldstore::fuzz {
namespace {

SampleFile MakeFile(const Kind& kind, bool blocked, const std::string& version, int bodies) {
    SampleFile sample{kind, blocked, version, {}, bodies, {}};
    const MemoryFile file;
    const bool emptyFileLoads = samples::Appends(kind.name) && kind.name != "POSolutionMetrics";
    if (emptyFileLoads) sample.dataUpTo[0] = *Stored(*samples::New(kind.name), false);
    for (int body = 0; body < bodies; ++body) {
        const auto object = samples::New(kind.name);
        samples::Fill(*object, body);
        if (blocked) dynamic_cast<IPODOFList&>(*object).SetSelectedBlock(-1);
        object->SetVersion(version);
        Require(Commit(*object, file, kind.text) == 0, "a sample is stored");
        sample.content = file.Content();
        object->SetVersion("");
        // The first body as it was before it was stored; more of them as they are merged.
        const bool asBefore = body == 0 && !blocked;
        sample.dataUpTo[sample.content.size()] =
            asBefore ? *Stored(*object, false) : *LoadedData(sample, file);
    }
    return sample;
}

}  // namespace

std::string SampleFile::Label() const {
    return kind.name + (blocked ? " in blocks" : "") + (kind.text ? ", text, " : ", binary, ") +
           std::to_string(bodies) + (bodies == 1 ? " body" : " bodies") +
           (version.empty() ? "" : ", version line");
}

std::vector<SampleFile> AllSampleFiles() {
    constexpr int several = 3;
    std::vector<SampleFile> files;
    for (const auto& name : samples::ClassNames()) {
        for (const bool text : {false, true}) {
            const Kind kind{name, text};
            for (const char* version : {"", "v 1"}) {
                if (*version != '\0' && !kind.HasVersionLine()) continue;
                files.push_back(MakeFile(kind, false, version, 1));
                if (samples::Appends(name))
                    files.push_back(MakeFile(kind, false, version, several));
            }
        }
    }
    files.push_back(MakeFile({"PODOFList", false}, true, "", 1));
    return files;
}

std::string ClaimingMetrics(bool text, int resolveFunction, std::uint32_t count, std::uint32_t keys,
                            std::size_t length) {
    const auto object = samples::New("POSolutionMetrics");
    auto& metrics = dynamic_cast<IPOSolutionMetrics&>(*object);
    metrics.AddEdge(1, {1, 2});
    metrics.DefineValues(1, 2, static_cast<std::uint32_t>(length), resolveFunction);
    for (std::uint32_t key = 0; key < keys; ++key)
        metrics.AddValues(1, 0, key, 2, std::vector<double>(length, 1.0));
    metrics.DefineValues(1, 2, count, resolveFunction);
    return *Stored(*object, text);
}

std::optional<std::string> LoadedData(const SampleFile& sample, const MemoryFile& file) {
    const auto object = samples::New(sample.kind.name);
    if (!sample.blocked) {
        if (Load(*object, file, sample.kind.text) != 0) return std::nullopt;
        UseLoaded(*object);
        object->SetVersion("");
        return Stored(*object, false);
    }
    auto& list = dynamic_cast<IPODOFList&>(*object);
    std::string data;
    for (const int part : {-1, 0, 1}) {  // the header and the sample's two blocks
        list.SetSelectedBlock(part);
        if (Load(*object, file, false) != 0) return std::nullopt;
        data += samples::Describe(*object);
    }
    return data;
}

}  // namespace fieldstore::fuzz
