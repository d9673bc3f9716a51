// SPDX-License-Identifier: Apache-2.0
// Measures whole objects as a host sees them, through the public interface only: commit and load
// of every class, loading of files that many commits appended to, and loading of one block. Beside
// the classes stand the system's own read and write of the same bytes, and HDF5's.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "Environment.h"
#include "Memory.h"
#include "Suite.h"
#include "fieldstore/fieldstore.h"
#ifdef FIELDSTORE_BENCH_HDF5
#include "Hdf5DataSets.h"
#endif

namespace bench {
namespace {

using Object = std::shared_ptr<IPOBase>;
using fieldstore::Create;
using fieldstore::StorageType;

template <typename Interface>
Object AsObject(const std::shared_ptr<Interface>& object) {
    return std::dynamic_pointer_cast<IPOBase>(object);
}

void Require(bool condition, const char* what) {
    if (!condition) throw std::runtime_error(what);
}

/// One object of a realistic size, in one storage mode.
struct Subject {
    std::string name;
    std::string size;
    bool text;
    double target;  // of a load, in times that a plain read takes; 0: none
    std::function<Object()> makeFilled;
    std::function<Object()> makeEmpty;

    StorageType WriteType() const {
        return text ? StorageType::WriteText : StorageType::WriteBinary;
    }
    StorageType ReadType() const { return text ? StorageType::ReadText : StorageType::ReadBinary; }
};

// Filling the nine classes.

void AddModes(IPOModeInfo& info, Numbers& numbers, int frequency, int port, int modes, int values) {
    std::vector<Complex> constants;
    std::vector<std::vector<int>> groups(2);
    std::vector<std::vector<Complex>> data(static_cast<std::size_t>(modes));
    for (int mode = 0; mode < modes; ++mode) {
        constants.push_back(numbers.ComplexValue());
        groups[mode % 2 == 0 ? 0 : 1].push_back(mode);
        for (int i = 0; i < values; ++i)
            data[static_cast<std::size_t>(mode)].push_back(numbers.ComplexValue());
    }
    Require(info.AddModeData(8e9 + 1e6 * frequency, port, constants, groups, data),
            "The modes were refused.");
}

Object FilledModeInfo(int frequencies) {
    Numbers numbers;
    const auto info = Create<IPOModeInfo>();
    for (int frequency = 0; frequency < frequencies; ++frequency)
        for (int port = 1; port <= 8; ++port) AddModes(*info, numbers, frequency, port, 10, 20);
    return AsObject(info);
}

Object FilledDOFMap() {
    const auto rows = DOFRows::Make();
    std::vector<IPODOFMap::EDOFType> types;
    for (std::size_t row = 0; row < rows.size(); ++row)
        types.push_back(row % 3 == 0 ? IPODOFMap::eType1 : IPODOFMap::eType0);
    const auto map = Create<IPODOFMap>();
    map->SetDOFMap(rows);
    map->SetDOFTypes(types);
    return AsObject(map);
}

/// Records of one kind: `perOwner` for each of `owners` partitions, of `width` entries.
IPODOFList::Source RecordSource(int owners, int perOwner, int width) {
    return [=, next = 0](std::vector<int>& record) mutable {
        if (next == owners * perOwner) return false;
        record.assign(static_cast<std::size_t>(width), next);
        record[0] = next / perOwner;
        record[1] = 3 * next;
        record[2] = 3 * next + 2;
        ++next;
        return true;
    };
}

/// Two owners share a block, so `blocks` blocks hold the records of twice as many owners.
Object FilledDOFList(int blocks, int perOwner, int selectedBlock) {
    const int owners = 2 * blocks;
    const auto list = Create<IPODOFList>();
    list->SetSelectedBlock(selectedBlock);
    list->SetRecords(blocks - 1, 1, {1, 2, 3, 4}, {5, 6, 5, 4}, owners * perOwner,
                     RecordSource(owners, perOwner, 5), owners * perOwner,
                     RecordSource(owners, perOwner, 6), owners * perOwner,
                     RecordSource(owners, perOwner, 5), owners, RecordSource(owners, 1, 4), {});
    return AsObject(list);
}

Object FilledMeshTree() {
    const auto tree = Create<IPOMeshTree>();
    tree->SetIds(Ids::Make());
    tree->SetIdPairs(IdPairs::Make());
    return AsObject(tree);
}

Object FilledBinaryTree(int levels) {
    const int leaves = 1 << (levels - 1);
    const IPOBinaryTree::Counters counters(static_cast<std::size_t>(leaves), 7);
    std::map<int, std::set<int>> nodes;
    std::map<int, std::vector<int>> mapped;
    for (int node = 0; node < 2 * leaves - 1; ++node) {
        std::set<int>& items = nodes.emplace_hint(nodes.end(), node, std::set<int>())->second;
        for (int i = 0; i < 6; ++i) items.insert(items.end(), 6 * node + i);
    }
    for (int key = 0; key < leaves; ++key)
        mapped.emplace_hint(mapped.end(), key, std::vector<int>{key, key + 1, key + 2});
    const auto tree = Create<IPOBinaryTree>();
    tree->SetTree(counters, counters, counters, counters, counters, nodes, mapped, 1, leaves,
                  {1, 2, 3}, levels, leaves);
    return AsObject(tree);
}

Object FilledSolutionMetrics(std::uint32_t entities) {
    Numbers numbers;
    const auto metrics = Create<IPOSolutionMetrics>();
    for (int type = 0; type < 2; ++type) {
        metrics->DefineValues(1, type, 3, IPOSolutionMetrics::eMax);
        for (std::uint32_t pass = 0; pass < 5; ++pass)
            for (std::uint32_t entity = 1; entity <= entities; ++entity)
                metrics->AddValues(1, pass, entity, type, numbers.Reals(3));
    }
    for (std::uint32_t node = 1; node <= entities; ++node) {
        const int id = static_cast<int>(node);
        metrics->AddNode(node, numbers.Reals(3), {node == 1 ? entities : node - 1, node + 1});
        metrics->AddEdge(node, {id, id + 1});
    }
    return AsObject(metrics);
}

Object FilledPortCircuitDOFs(int ports) {
    std::map<int, int> table;
    for (int position = 0; position < 2 * ports; ++position)
        table.emplace_hint(table.end(), position, 5 * position);
    const auto dofs = Create<IPOPortCircuitDOFs>();
    dofs->SetData(ports, 0, ports / 2, ports - ports / 2, table);
    return AsObject(dofs);
}

Object FilledCircuitMatrices() {
    const auto matrices = Create<IPOCircuitMatrices>();
    for (const auto& entry : Matrices::Make())
        matrices->SetMatrix(static_cast<double>(entry.first.first), entry.first.second, 0, 0,
                            entry.second);
    return AsObject(matrices);
}

Object FilledAssemblyInfo(int elements) {
    std::vector<std::uint64_t> handles;
    for (int element = 1; element <= elements; ++element)
        handles.push_back(static_cast<std::uint64_t>(element));
    const auto info = Create<IPOAssemblyInfo>();
    info->AddElements(handles, [](std::uint64_t handle, std::vector<int>& nodes1,
                                  std::vector<int>& nodes2, std::vector<int>& nodes3) {
        const int element = static_cast<int>(handle);
        for (int i = 0; i < 10; ++i) {
            if (i < 4) nodes1.push_back(element + i);
            if (i < 6) nodes2.push_back(element + 2 * i);
            nodes3.push_back(element + 3 * i);
        }
        return element % 2 == 0 ? element : -element;
    });
    return AsObject(info);
}

template <typename Interface>
Subject MakeSubject(const std::string& size, bool text, std::function<Object()> makeFilled,
                    double target = 0) {
    return {std::string(fieldstore::ClassName<Interface>::value) + (text ? " text" : ""),
            size,
            text,
            target,
            std::move(makeFilled),
            [] { return AsObject(Create<Interface>()); }};
}

/// Each class in its default mode; mode information in binary as well.
std::vector<Subject> Subjects() {
    return {
        MakeSubject<IPOModeInfo>("200 frequencies x 8 ports x 10 modes x 20", true,
                                 [] { return FilledModeInfo(Scaled(200)); }),
        MakeSubject<IPOModeInfo>("2,000 frequencies x 8 ports x 10 modes x 20", false,
                                 [] { return FilledModeInfo(Scaled(2000)); }),
        MakeSubject<IPODOFMap>("500,000 rows x 9 weights, types", false, &FilledDOFMap),
        MakeSubject<IPODOFList>("3 x 800,000 records", false,
                                [] { return FilledDOFList(Scaled(1000), 400, -2); }),
        MakeSubject<IPOMeshTree>("2,000,000 ids, 2,000,000 pairs", false, &FilledMeshTree, 2),
        MakeSubject<IPOBinaryTree>(
            "131,072 leaves, 6 items a node", false,
            [] { return FilledBinaryTree(scale < 1 ? 8 : 18); }, 2.5),
        MakeSubject<IPOSolutionMetrics>(
            "1,000,000 values of 3, 100,000 nodes and edges", false,
            [] { return FilledSolutionMetrics(static_cast<std::uint32_t>(Scaled(100000))); }, 2),
        MakeSubject<IPOPortCircuitDOFs>("200,000 positions", true,
                                        [] { return FilledPortCircuitDOFs(Scaled(100000)); }),
        MakeSubject<IPOCircuitMatrices>("1,000 matrices of 64 x 64", false, &FilledCircuitMatrices),
        MakeSubject<IPOAssemblyInfo>(
            "300,000 elements, 20 nodes each", false,
            [] { return FilledAssemblyInfo(Scaled(300000)); }, 2),
    };
}

// Where the files are.

class Places {
public:
    explicit Places(const ScratchDirectory& scratch) : scratch_(scratch) {}

    /// The directory `name`, made when it is new, with the separator that objects want.
    std::string Directory(const std::string& name) const {
        const std::string path = scratch_.Path(name);
        std::filesystem::create_directories(path);
        return path + "/";
    }

    void Remove(const std::string& name) const { std::filesystem::remove_all(scratch_.Path(name)); }

private:
    const ScratchDirectory& scratch_;
};

std::string PathIn(IPOBase& object, const std::string& directory) {
    return directory + object.GetFileName();
}

/// Seconds that the commit into a new file takes.
double TimeCommit(IPOBase& object, StorageType type, const std::string& directory) {
    std::filesystem::remove(PathIn(object, directory));
    object.SetDirectory(directory);
    fieldstore::CreateStorage(object, type);
    const Stopwatch watch;
    const int result = object.Commit(true);
    const double seconds = watch.Seconds();
    Require(result == 0, "The commit failed.");
    return seconds;
}

/// Seconds that the load takes; the object's end is not part of it.
double TimeLoad(IPOBase& object, StorageType type, const std::string& directory) {
    malloc_trim(0);
    object.SetDirectory(directory);
    fieldstore::CreateStorage(object, type);
    const Stopwatch watch;
    const int result = object.Load();
    const double seconds = watch.Seconds();
    Require(result == 0, "The load failed.");
    return seconds;
}

std::string ReadWhole(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void SetSize(benchmark::State& state, IPOBase& object, const std::string& directory) {
    state.counters["file_bytes"] =
        static_cast<double>(std::filesystem::file_size(PathIn(object, directory)));
}

/// What was loaded must give the same file when it is committed again.
void Verify(const Subject& subject, const std::string& directory, const std::string& other) {
    const Object object = subject.makeEmpty();
    TimeLoad(*object, subject.ReadType(), directory);
    TimeCommit(*object, subject.WriteType(), other);
    Require(ReadWhole(PathIn(*object, directory)) == ReadWhole(PathIn(*object, other)),
            "What was loaded differs.");
}

// The same bytes without the library.

/// Seconds of one read of a file into fresh memory.
double TimeRawRead(const std::string& path) {
    malloc_trim(0);
    const auto size = static_cast<std::size_t>(std::filesystem::file_size(path));
    const Stopwatch watch;
    const int file = open(path.c_str(), O_RDONLY);
    const std::unique_ptr<char[]> bytes(new char[size]);
    std::size_t done = 0;
    for (ssize_t count = 1; count > 0 && done < size; done += static_cast<std::size_t>(count))
        count = read(file, bytes.get() + done, size - done);
    close(file);
    const double seconds = watch.Seconds();
    Require(done == size, "The file could not be read.");
    return seconds;
}

/// Seconds of one write of bytes into a new file.
double TimeRawWrite(const std::string& path, const std::string& bytes) {
    std::filesystem::remove(path);
    const Stopwatch watch;
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600);
    std::size_t done = 0;
    for (ssize_t count = 1; count > 0 && done < bytes.size();
         done += static_cast<std::size_t>(count))
        count = write(file, bytes.data() + done, bytes.size() - done);
    close(file);
    const double seconds = watch.Seconds();
    Require(done == bytes.size(), "The file could not be written.");
    return seconds;
}

#ifdef FIELDSTORE_BENCH_HDF5
/// As many bytes, as one flat array: what a host would keep that holds its data as arrays.
std::vector<std::uint64_t> FlatArray(std::uintmax_t bytes) {
    return std::vector<std::uint64_t>(static_cast<std::size_t>(bytes / sizeof(std::uint64_t)), 7);
}

double TimeHdf5Write(const std::string& path, const std::vector<std::uint64_t>& array) {
    const Stopwatch watch;
    {
        const Handle file(H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT),
                          H5Fclose);
        WriteDataSet(file, "array", array);
    }
    return watch.Seconds();
}

double TimeHdf5Read(const std::string& path) {
    malloc_trim(0);
    const Stopwatch watch;
    std::vector<std::uint64_t> array;
    const Handle file(H5Fopen(path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT), H5Fclose);
    ReadDataSet(file, "array", array);
    return watch.Seconds();
}
#endif

/// What a load needs, in a process that does nothing else.
ReadMemory MeasureLoad(const Subject& subject, const std::string& directory) {
    int ends[2];
    Require(pipe(ends) == 0, "No pipe could be made.");
    const pid_t child = fork();
    Require(child >= 0, "A process cannot be started.");
    ReadMemory memory;
    if (child == 0) {
        const Object object = subject.makeEmpty();
        malloc_trim(0);
        memory = MeasureGrowth([&] { TimeLoad(*object, subject.ReadType(), directory); });
        _exit(write(ends[1], &memory, sizeof memory) == sizeof memory ? 0 : 1);
    }
    close(ends[1]);
    const bool told = read(ends[0], &memory, sizeof memory) == sizeof memory;
    close(ends[0]);
    waitpid(child, nullptr, 0);
    Require(told, "The memory could not be measured.");
    return memory;
}

// The benchmarks. One that fails ends the program: what is wrong has no speed.

using Body = std::function<void(benchmark::State&)>;

void Register(const std::string& name, const Body& body) {
    const auto guarded = [body, name](benchmark::State& state) {
        try {
            body(state);
        } catch (const std::exception& error) {
            throw std::runtime_error(name + ": " + error.what());
        }
    };
    benchmark::RegisterBenchmark(name.c_str(), guarded)
        ->UseManualTime()
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
}

/// Runs what was registered with the files in `place`, which are removed afterwards.
void RunRegistered(Report& report, const Places& places, const std::string& place) {
    benchmark::RunSpecifiedBenchmarks(&report);
    benchmark::ClearRegisteredBenchmarks();
    places.Remove(place);
}

void RunSubject(const Subject& subject, const Places& places, Report& report) {
    const std::string directory = places.Directory("loaded");
    const std::string other = places.Directory("loaded/other");
    Object filled;
    const auto prepare = [&] {
        if (filled) return;
        filled = subject.makeFilled();
        TimeCommit(*filled, subject.WriteType(), directory);
        Verify(subject, directory, other);
    };
    const auto finish = [&](benchmark::State& state) {
        SetSize(state, *filled, directory);
        state.SetLabel(subject.size);
    };
    Register("classes/commit/" + subject.name, [&](benchmark::State& state) {
        prepare();
        for (auto _ : state)
            state.SetIterationTime(TimeCommit(*filled, subject.WriteType(), other));
        finish(state);
    });
    Register("classes/load/" + subject.name, [&](benchmark::State& state) {
        prepare();
        const Object object = subject.makeEmpty();
        for (auto _ : state)
            state.SetIterationTime(TimeLoad(*object, subject.ReadType(), directory));
        finish(state);
        state.counters["target"] = subject.target;
        const ReadMemory memory = MeasureLoad(subject, directory);
        state.counters["held_bytes"] = static_cast<double>(memory.container);
        state.counters["peak_bytes"] = static_cast<double>(memory.peak);
    });
    const auto path = [&] { return PathIn(*filled, directory); };
    Register("classes/raw read/" + subject.name, [&](benchmark::State& state) {
        prepare();
        for (auto _ : state) state.SetIterationTime(TimeRawRead(path()));
        finish(state);
    });
    Register("classes/raw write/" + subject.name, [&](benchmark::State& state) {
        prepare();
        const std::string bytes = ReadWhole(path());
        for (auto _ : state) state.SetIterationTime(TimeRawWrite(other + "raw", bytes));
        finish(state);
    });
#ifdef FIELDSTORE_BENCH_HDF5
    Register("classes/hdf5 read/" + subject.name, [&](benchmark::State& state) {
        prepare();
        TimeHdf5Write(other + "flat", FlatArray(std::filesystem::file_size(path())));
        for (auto _ : state) state.SetIterationTime(TimeHdf5Read(other + "flat"));
        finish(state);
    });
    Register("classes/hdf5 write/" + subject.name, [&](benchmark::State& state) {
        prepare();
        const auto array = FlatArray(std::filesystem::file_size(path()));
        std::filesystem::remove(other + "flat");
        for (auto _ : state) state.SetIterationTime(TimeHdf5Write(other + "flat", array));
        finish(state);
    });
#endif
    RunRegistered(report, places, "loaded");
}

/// Each body by an object of its own: committing one object again would write all it holds.
void AppendBodies(int bodies, const std::string& directory) {
    Numbers numbers;
    for (int body = 0; body < bodies; ++body) {
        const auto info = Create<IPOModeInfo>();
        AddModes(*info, numbers, body, 1, 10, 20);
        IPOBase& object = fieldstore::Storage(info);
        object.SetDirectory(directory);
        fieldstore::CreateStorage(object, StorageType::WriteBinary);
        Require(object.Commit(false) == 0, "The commit failed.");
    }
}

void MeasureAppended(benchmark::State& state, int bodies, const std::string& directory) {
    const auto info = Create<IPOModeInfo>();
    IPOBase& object = fieldstore::Storage(info);
    if (!std::filesystem::exists(PathIn(object, directory))) AppendBodies(bodies, directory);
    for (auto _ : state)
        state.SetIterationTime(TimeLoad(object, StorageType::ReadBinary, directory));
    Require(info->GetFrequencyCount() == bodies, "Some bodies were lost.");
    SetSize(state, object, directory);
    state.SetItemsProcessed(bodies);
}

void RunAppended(const Places& places, Report& report) {
    for (const int bodies : {100, 1000, 10000}) {
        const std::string count = std::to_string(bodies);
        const std::string directory = places.Directory("appended/" + count);
        Register("appended_bodies/load/" + count,
                 [=](benchmark::State& state) { MeasureAppended(state, bodies, directory); });
    }
    RunRegistered(report, places, "appended");
}

/// Loads the list in `directory`: a block of it, or all of it when `block` is -2.
void MeasureBlock(benchmark::State& state, int blocks, int block, const std::string& directory) {
    constexpr int perOwner = 40;
    constexpr int recordsOfBlock = 2 * perOwner;
    const auto list = Create<IPODOFList>();
    IPOBase& object = fieldstore::Storage(list);
    if (!std::filesystem::exists(PathIn(object, directory)))
        TimeCommit(*FilledDOFList(blocks, perOwner, block == -2 ? -2 : -1),
                   StorageType::WriteBinary, directory);
    list->SetSelectedBlock(block);
    for (auto _ : state)
        state.SetIterationTime(TimeLoad(object, StorageType::ReadBinary, directory));
    int count = 0;
    list->VisitRecords([](auto...) {}, &count, [](const auto&) {}, nullptr, [](const auto&) {},
                       nullptr, [](const auto&) {}, nullptr, [](const auto&) {});
    Require(count == recordsOfBlock * (block == -2 ? blocks : 1), "Some records were lost.");
    SetSize(state, object, directory);
}

void RunBlocks(const Places& places, Report& report) {
    const auto add = [&](int blocks, int block, const std::string& name) {
        const std::string directory = places.Directory("blocks/" + name);
        Register("dof_list_blocks/load/" + name,
                 [=](benchmark::State& state) { MeasureBlock(state, blocks, block, directory); });
    };
    for (const int blocks : {10, 100, 1000})
        add(blocks, blocks / 2, "one of " + std::to_string(blocks));
    add(1000, -2, "whole list of 1000");
    RunRegistered(report, places, "blocks");
}

int Main(int argc, char** argv) {
    const char* parent = std::getenv("FIELDSTORE_BENCH_DIR");
    const CommandLine options(
        argc, argv, {"--benchmark_repetitions=5", "--benchmark_enable_random_interleaving=true"},
        {{"directory", parent != nullptr ? parent : "/dev/shm"}, {"json", ""}, {"scale", "1"}});
    scale = std::stod(options["scale"]);
    PrintEnvironment(options["directory"], options["scale"]);
    const ScratchDirectory scratch(options["directory"]);
    const Places places(scratch);
    Report report(options["json"]);
    for (const Subject& subject : Subjects()) RunSubject(subject, places, report);
    RunAppended(places, report);
    RunBlocks(places, report);
    return 0;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    return bench::RunGuarded(&bench::Main, argc, argv);
}
