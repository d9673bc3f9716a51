// SPDX-License-Identifier: Apache-2.0
// What each rank of a test does. tests/mpi/mpi_test.py says how often, and looks at the bytes.
#include <cstdio>
#include <sstream>

#include "fieldstore/mpi.h"
#include "tests/samples/Samples.h"

namespace {

using fieldstore::mpi::Result;

constexpr int kAll = 99;  // no rank has anything

struct Arguments {
    std::string operation;
    std::string directory;
    std::string className = "POCircuitMatrices";
    bool text = false;
    std::size_t size = 0;  // entries that a rank adds to the small sample
    int steps = 1;
    int idle = -1;          // the rank without changes
    int wrong = -1;         // the rank whose data do not validate, or that is of another class
    bool unlocked = false;  // no lock
    bool unsynced = false;
    std::string version;
};

Arguments Parse(int count, char** values) {
    Arguments parsed;
    for (int i = 1; i < count; ++i) {
        const std::string argument = values[i];
        const auto equals = argument.find('=');
        const auto key = argument.substr(0, equals);
        const auto value = argument.substr(equals + 1);
        const auto take = [&](const char* name, auto& target) {
            if (key == name) std::istringstream(value) >> target;
        };
        take("do", parsed.operation);
        take("in", parsed.directory);
        take("class", parsed.className);
        take("text", parsed.text);
        take("size", parsed.size);
        take("steps", parsed.steps);
        take("idle", parsed.idle);
        take("wrong", parsed.wrong);
        take("unlocked", parsed.unlocked);
        take("unsynced", parsed.unsynced);
        take("version", parsed.version);
    }
    return parsed;
}

/// Makes the sample of a rank and a step larger, by entries that no other one has.
void Enlarge(IPOBase& object, int variant, std::size_t size) {
    if (size == 0) return;
    if (auto* modes = dynamic_cast<IPOModeInfo*>(&object)) {
        std::vector<std::complex<double>> data(size, {0.125 + variant, 1.0 / 3});
        modes->AddModeData(variant, 1, {{1, 2}}, {{0}}, {data});
    } else if (auto* matrices = dynamic_cast<IPOCircuitMatrices*>(&object)) {
        matrices->SetMatrix(variant, 1, 0, 0, std::vector<double>(size, 0.5 + variant));
    } else if (auto* metrics = dynamic_cast<IPOSolutionMetrics*>(&object)) {
        for (std::uint32_t i = 0; i < size; ++i)
            metrics->AddValues(1, 1 + static_cast<std::uint32_t>(variant), i, 2, {1.0 * i, 0.5});
    } else if (auto* assembly = dynamic_cast<IPOAssemblyInfo*>(&object)) {
        std::vector<std::uint64_t> handles;
        for (std::size_t i = 0; i < size; ++i)
            handles.push_back((static_cast<std::uint64_t>(variant) + 1) * 1000000 + i);
        assembly->AddElements(handles, [](std::uint64_t handle, std::vector<int>& nodes,
                                          std::vector<int>&, std::vector<int>&) {
            nodes = {1, 2};
            return static_cast<int>(handle);
        });
    }
}

/// The object of one rank in one step.
std::shared_ptr<IPOBase> Filled(const Arguments& arguments, int rank, int variant) {
    const bool isWrong = rank == arguments.wrong;
    const bool isModes = arguments.className == "POModeInfo";
    auto object = samples::New(isWrong && !isModes ? "POModeInfo" : arguments.className);
    object->SetDirectory(arguments.directory + "/");
    object->SetFileName("all.dat");
    object->SetVersion(arguments.version.empty() ? "" : arguments.version + std::to_string(rank));
    auto& control = fieldstore::Control(*object);
    if (arguments.unsynced) control.SetDurability(IPOStorageControl::eUnsynced);
    fieldstore::CreateStorage(
        *object,
        arguments.text ? fieldstore::StorageType::WriteText : fieldstore::StorageType::WriteBinary,
        arguments.unlocked ? fieldstore::Locking::Off : fieldstore::Locking::On);
    if (rank == arguments.idle || arguments.idle == kAll) return object;
    samples::Fill(*object, variant);
    Enlarge(*object, variant, arguments.size);
    if (isWrong && isModes)  // its frequencies differ in their ports
        for (const int port : {7, 8})
            dynamic_cast<IPOModeInfo&>(*object).AddModeData(-1, port, {{1, 2}}, {{0}}, {{{1, 2}}});
    return object;
}

/// Shows the result once, or every one when they differ.
int Show(const Result& result, int rank) {
    std::string first = std::to_string(result.code) + " " + result.reason;
    const std::string own = first;
    fieldstore::mpi::detail::Broadcast(first, 0, MPI_COMM_WORLD);
    if (rank == 0 || own != first) std::printf("%s\n", own.c_str());
    std::fflush(stdout);
    return own == first ? 0 : 1;
}

/// All ranks at once.
int Commit(const Arguments& arguments, int rank, int ranks) {
    int failures = 0;
    for (int step = 0; step < arguments.steps; ++step) {
        const auto object = Filled(arguments, rank, step * ranks + rank);
        const auto result = fieldstore::mpi::Commit(MPI_COMM_WORLD, *object);
        failures += Show(result, rank);
        auto& control = fieldstore::Control(*object);
        const bool wasIdle = rank == arguments.idle || arguments.idle == kAll;
        if (control.GetStorageState().changed != (result.code != 0 && !wasIdle)) ++failures;
        control.NoteStored();  // the destructor is not to try again
    }
    return failures;
}

/// One rank after the other, which is what the bytes of a collective commit are held against.
int CommitInTurns(const Arguments& arguments, int rank, int ranks) {
    int failures = 0;
    for (int step = 0; step < arguments.steps; ++step) {
        for (int turn = 0; turn < ranks; ++turn) {
            if (turn == rank && Filled(arguments, rank, step * ranks + rank)->Commit(false) != 0)
                ++failures;
            MPI_Barrier(MPI_COMM_WORLD);
        }
    }
    return failures;
}

/// Everything that a load by all ranks gives, against loads of their own; then the same for the
/// frequencies whose number divided by the number of ranks leaves the rank.
int Load(const Arguments& arguments, int rank, int ranks) {
    const auto object = samples::New(arguments.className);
    const auto own = samples::New(arguments.className);
    for (const auto& loaded : {object, own}) {
        if (loaded == object && rank != 0) continue;  // which needs no storage
        loaded->SetDirectory(arguments.directory + "/");
        loaded->SetFileName("all.dat");
        fieldstore::CreateStorage(*loaded, arguments.text ? fieldstore::StorageType::ReadText
                                                          : fieldstore::StorageType::ReadBinary);
    }
    const auto result = fieldstore::mpi::Load(MPI_COMM_WORLD, *object);
    int failures = Show(result, rank);
    const int code = own->Load();
    if (code != result.code) ++failures;
    if (code == 0 && samples::Describe(*object) != samples::Describe(*own)) ++failures;

    const auto frequencies = [](IPOBase& of) {
        if (auto* modes = dynamic_cast<IPOModeInfo*>(&of)) return modes->GetFrequencies();
        auto* matrices = dynamic_cast<IPOCircuitMatrices*>(&of);
        return matrices != nullptr ? matrices->GetFrequencies() : std::vector<double>();
    };
    std::vector<double> chosen;
    for (const double frequency : frequencies(*own))
        if (static_cast<long>(frequency) % ranks == rank) chosen.push_back(frequency);
    const auto part = samples::New(arguments.className);
    part->SetDirectory(arguments.directory + "/");
    part->SetFileName("all.dat");
    fieldstore::CreateStorage(*part, arguments.text ? fieldstore::StorageType::ReadText
                                                    : fieldstore::StorageType::ReadBinary);
    auto asked = chosen;
    asked.push_back(4711);  // in no file
    const auto partly = fieldstore::mpi::Load(MPI_COMM_WORLD, *part, asked);
    failures += Show(partly, rank);
    if (partly.code == 0 && frequencies(*part) != chosen) ++failures;
    return failures;
}

IPODOFList::Source SourceOf(std::vector<std::vector<int>> records) {
    auto next = std::make_shared<std::size_t>(0);
    return [records = std::move(records), next](std::vector<int>& record) {
        if (*next == records.size()) return false;
        record = records[(*next)++];
        return true;
    };
}

/// What a rank has of the whole: of a map its row, of a table its position, and so on. The rank
/// `wrong` contradicts rank 0.
void FillPart(IPOBase& object, int rank, int ranks, bool wrong) {
    const auto own = static_cast<std::size_t>(wrong ? 0 : rank);
    if (auto* map = dynamic_cast<IPODOFMap*>(&object)) {
        IPODOFMap::Rows rows(own + 1);
        rows[own] = {{rank, 0.5 + rank}};
        std::vector<IPODOFMap::EDOFType> types(own + 1);
        types[own] = IPODOFMap::EDOFType(1 + rank);
        map->SetDOFMap(rows);
        map->SetDOFTypes(types);
    } else if (auto* tree = dynamic_cast<IPOMeshTree*>(&object)) {
        tree->SetIds({rank, 100});
        tree->SetIdPairs({{rank, rank + 1}});
    } else if (auto* list = dynamic_cast<IPODOFList*>(&object)) {
        const int width = wrong ? 4 : 3;
        std::vector<int> record{0, 10 * rank, 10 * rank + 4};
        record.resize(static_cast<std::size_t>(width));
        list->SetRecords(2, 77, {1, 2, 3, 4}, {width, 3, 3, 3}, 1, SourceOf({record}), 0,
                         SourceOf({}), 0, SourceOf({}), 1, SourceOf({{2, rank, rank}}), {});
    } else if (auto* ports = dynamic_cast<IPOPortCircuitDOFs*>(&object)) {
        ports->SetData(ranks, 0, 0, 0, {{static_cast<int>(own), 10 + rank}});
    } else if (rank == ranks - 1 || wrong) {
        samples::Fill(object, rank);
    }
}

int Gather(const Arguments& arguments, int rank, int ranks) {
    const auto object = samples::New(arguments.className);
    object->SetDirectory(arguments.directory + "/");
    object->SetFileName("all.dat");
    if (rank == 0)
        fieldstore::CreateStorage(*object, fieldstore::StorageType::WriteBinary,
                                  fieldstore::Locking::On);
    if (rank != arguments.idle) FillPart(*object, rank, ranks, rank == arguments.wrong);
    const auto result = fieldstore::mpi::Gather(MPI_COMM_WORLD, *object);
    auto& control = fieldstore::Control(*object);
    const int failures = result.code == 0 && control.GetStorageState().changed ? 1 : 0;
    control.NoteStored();
    return failures + Show(result, rank);
}

}  // namespace

int main(int argumentCount, char** argumentValues) {
    MPI_Init(&argumentCount, &argumentValues);
    const auto arguments = Parse(argumentCount, argumentValues);
    const int rank = fieldstore::mpi::detail::RankIn(MPI_COMM_WORLD);
    const int ranks = fieldstore::mpi::detail::SizeOf(MPI_COMM_WORLD);
    int failures = 0;
    if (arguments.operation == "commit") failures = Commit(arguments, rank, ranks);
    if (arguments.operation == "turns") failures = CommitInTurns(arguments, rank, ranks);
    if (arguments.operation == "load") failures = Load(arguments, rank, ranks);
    if (arguments.operation == "gather") failures = Gather(arguments, rank, ranks);
    MPI_Allreduce(MPI_IN_PLACE, &failures, 1, MPI_INT, MPI_SUM, MPI_COMM_WORLD);
    MPI_Finalize();
    return failures == 0 ? 0 : 1;
}
