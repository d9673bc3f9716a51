// SPDX-License-Identifier: Apache-2.0
// What maps and lists of degrees of freedom do with their data.

#include <cmath>
#include <filesystem>
#include <stdexcept>

#include "tests/objects/Object.h"
#include "tests/samples/Samples.h"

namespace {

using namespace support;

const IPODOFMap::ResolveResult kResolved{{IPODOFMap::eType1}, {{{0, 3.0}}}};

TEST(DOFMap, TransposesAndKeepsTheResult) {
    Object<IPODOFMap> map;
    map->SetDOFMap({{{1, 0.5}, {0, 0.0}}, {{0, 2.0}}});
    EXPECT_EQ(map->GetTransposedDOFMap(), (IPODOFMap::Rows{{{1, 2.0}}, {{0, 0.5}}}));
    map->SetDOFMap({{{0, std::nan("")}}, {}});
    EXPECT_EQ(map->GetTransposedDOFMap(), (IPODOFMap::Rows{{{1, 2.0}}, {{0, 0.5}}})) << "stale";
    map->SetDOFMap({{{0, std::nan("")}}});
    EXPECT_TRUE(std::isnan(map->GetTransposedDOFMap().at(0).at(0).second));
    for (const int column : {-1, 2}) {
        map->SetDOFMap({{{0, 1.0}}, {{column, 1.0}}});
        EXPECT_EQ(Raised([&] { map->GetTransposedDOFMap(); }),
                  "Invalid column index in PODOFMap object.");
    }
    map->SetDOFTypes({IPODOFMap::eType0, IPODOFMap::eType1, IPODOFMap::EDOFType(2)});
    const auto answers = [&](int i) { return std::pair(map->IsDOFType0(i), map->IsDOFType1(i)); };
    EXPECT_EQ(answers(0), std::pair(1, false));
    EXPECT_EQ(answers(1), std::pair(0, true));
    for (const int i : {-1, 2, 3}) EXPECT_EQ(answers(i), std::pair(0, false));
}

TEST(DOFMap, ResolvesOnceAndStoresTheResult) {
    Object<IPODOFMap> map;
    int calls = 0;
    map->SetResolveFunction([&] {
        ++calls;
        map->GetDOFMap();  // calling back neither recurses nor harms
        map->ResolveDOFMap();
        map->SetResolveFunction(nullptr);
        return kResolved;
    });
    EXPECT_EQ(map->GetDOFMap(), kResolved.second);
    EXPECT_EQ(map->GetDOFTypes(), kResolved.first);
    EXPECT_EQ(calls, 1);
    EXPECT_THROW(map->ResolveDOFMap(), std::bad_function_call);
    const auto again = fieldstore::Create<IPODOFMap>();
    fieldstore::Storage(again).SetDirectory(map.directory.Path());
    EXPECT_EQ(again->GetDOFTypes(), kResolved.first) << "loaded, not resolved";
    EXPECT_EQ(again->GetDOFMap(), kResolved.second);
    EXPECT_EQ(again->GetDOFTypes(), kResolved.first);
}

TEST(DOFMap, DoesNotReplaceStoredDataByNothing) {
    for (const bool raises : {false, true}) {
        Object<IPODOFMap> map;
        map->SetDOFMap(kResolved.second);
        ASSERT_EQ(map.Store(IPOBase::eWriteText), 0);
        const std::string stored = map.Stored();
        const auto other = fieldstore::Create<IPODOFMap>();
        fieldstore::Storage(other).SetDirectory(map.directory.Path());
        if (raises)
            other->SetResolveFunction(
                []() -> IPODOFMap::ResolveResult { throw std::runtime_error("no"); });
        other->GetDOFMap();  // the text file does not load as binary
        EXPECT_EQ(map.Stored(), stored);
    }
    Object<IPODOFMap> emptied;
    emptied->SetDOFTypes({});
    EXPECT_TRUE(emptied->GetDOFMap().empty() && emptied->GetDOFTypes().empty());
    EXPECT_TRUE(emptied->GetTransposedDOFMap().empty());
    EXPECT_TRUE(std::filesystem::is_empty(emptied.directory.Path())) << "set, so not asked for";
    for (const auto& half : {IPODOFMap::ResolveResult(kResolved.first, {}),
                             IPODOFMap::ResolveResult({}, kResolved.second)}) {
        Object<IPODOFMap> map;
        map->SetResolveFunction([&half] { return half; });
        map->GetDOFMap();
        EXPECT_FALSE(map.Stored().empty()) << "one without the other is something";
    }
    Object<IPODOFMap> fresh;
    EXPECT_TRUE(fresh->GetDOFMap().empty());
    EXPECT_EQ(fresh.Stored(), std::string(16, '\0')) << "nothing was there, so nothing is stored";
}

IPODOFList::Source From(std::vector<Ints> records) {
    return [records = std::move(records), next = std::size_t{0}](Ints& record) mutable {
        if (next == records.size()) return false;
        record = records[next++];
        return true;
    };
}

/// Owners 0 to 5 in three blocks, with an extra entry per kind-2 record.
void FillBlocked(IPODOFList& list) {
    list.SetExtraWidth(1);
    list.SetRecords(6, 1, {0, 0, 0, 0}, {4, 4, 3, 3}, 0, From({{5, 1, 9, 70}, {-1, 2, 2, 71}}), 0,
                    From({{4, 3, 3, 80}, {1, 4, 4, 81}, {0, 5, 5, 81}}), 0, From({}), 0,
                    From({{5, -1, 0}, {2, 6, 6}}), {40, 10, 0});
    list.SetSelectedBlock(-1);
}

TEST(DOFList, StoresBlocksBehindAnIndex) {
    Object<IPODOFList> list;
    samples::Fill(list.base);
    list->SetSelectedBlock(-1);
    ASSERT_EQ(list.Store(), 0);
    const auto raw = [](std::initializer_list<int> values) {
        return std::string(Bytes().I64(static_cast<std::int64_t>(4 * values.size()))) +
               Integers(values);
    };
    const std::string expected = Integers({5, 77, 4, 3, 3, 3, 1, 2, 3, 4, 0}) +
                                 std::string(Bytes()
                                                 .I64(36)
                                                 .I32(2)
                                                 .I32(6)
                                                 .Text("0")
                                                 .Zeros(5)
                                                 .I64(88)
                                                 .Text("1")
                                                 .Zeros(5)
                                                 .I64(200)
                                                 .I64(1)
                                                 .I64(1)
                                                 .I64(0)
                                                 .I64(1)) +
                                 raw({0, 20, -1, 5}) + raw({0, 30, 31}) + raw({}) + raw({0, 1, 2}) +
                                 raw({}) + std::string(Bytes().I64(1).I64(0).I64(1).I64(1)) +
                                 raw({2, 10, 12, 4}) + raw({}) + raw({3, -1, 7}) + raw({3, 5, 9}) +
                                 raw({});
    EXPECT_EQ(list.Stored(), expected);
    ASSERT_EQ(list.Store(), 0) << "again and again";
    EXPECT_EQ(list.Stored(), expected);
    const auto block = fieldstore::Create<IPODOFList>();
    fieldstore::Storage(block).SetDirectory(list.directory.Path());
    block->SetSelectedBlock(1);
    EXPECT_EQ(fieldstore::Storage(block).Load(), 0);
    EXPECT_EQ(list.Store(IPOBase::eWriteText), 1);
    EXPECT_EQ(list.Stored(), expected) << "checked before the file is opened";
}

TEST(DOFList, ReadsOneBlockAlone) {
    Object<IPODOFList> list;
    FillBlocked(*list.typed);
    EXPECT_EQ(list->GetBlockCount(), 3);
    EXPECT_EQ(list->GetBlockDOFCount(5), 9);
    ASSERT_EQ(list.Store(), 0);
    struct Case {
        int block;
        IPODOFList::Flat records1, records2, extra2, records4;
        IPODOFList::Ids ids2;
    };
    const Case cases[] = {{0, {-1, 2, 2}, {1, 4, 4, 0, 5, 5}, {10, 0}, {}, {{81, 0}}},
                          {1, {}, {}, {}, {2, 6}, {}},
                          {2, {5, 1, 9}, {4, 3, 3}, {40}, {5, -1}, {{80, 0}}}};
    for (const Case& c : cases) {
        list->SetSelectedBlock(c.block);
        ASSERT_EQ(list.base.Load(), 0);
        EXPECT_EQ(list->GetBlockCount(), 3);
        IPODOFList::Flat records1{9}, records2, records3, records4, extra2;
        IPODOFList::Ids ids1, ids2, ids3;
        EXPECT_EQ(list->ExtractBlock(nullptr, records4, nullptr, records2, ids2, extra2, nullptr,
                                     records3, ids3, nullptr, records1, ids1),
                  0);
        EXPECT_EQ(records1, c.records1);
        EXPECT_EQ(records2, c.records2);
        EXPECT_EQ(extra2, c.extra2);
        EXPECT_EQ(records4, c.records4);
        EXPECT_EQ(ids2, c.ids2);
        const std::string stored = list.Stored();
        for (const int form : {c.block, -2}) {
            list->SetSelectedBlock(form);
            EXPECT_EQ(list.Store(), 1) << "one block must not erase the others";
            EXPECT_EQ(list.Stored(), stored);
        }
    }
    const std::string whole = list.Stored();
    list->SetSelectedBlock(2);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        WriteFile(list.directory / "file2.dat", whole.substr(0, length));
        EXPECT_EQ(list.base.Load(), 1) << length;
    }
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (const int bits : {0x41, 0x80}) {
            std::string changed = whole;
            changed[at] = static_cast<char>(changed[at] ^ bits);
            WriteFile(list.directory / "file2.dat", changed);
            for (int block = -1; block < 3; ++block) {
                list->SetSelectedBlock(block);
                list.base.Load();
            }
        }
    }
}

TEST(DOFList, RefusesWhatDoesNotFit) {
    Object<IPODOFList> list;
    samples::Fill(list.base);
    const std::string before = samples::Describe(list.base);
    const auto set = [&](std::array<int, 4> widths, std::vector<Ints> kind2,
                         IPODOFList::Flat extra) {
        return Raised([&] {
            list->SetRecords(1, 0, {}, widths, 0, From({}), 0, From(kind2), 0, From({}), 0,
                             From({}), extra);
        });
    };
    const std::string mismatch = "Data size mismatch in PDOFList object.";
    EXPECT_EQ(set({3, 4, 3, 3}, {{0, 1, 2}}, {}), mismatch);
    EXPECT_EQ(set({3, 3, -1, 3}, {{0, 1, 2}}, {}), mismatch);
    EXPECT_EQ(set({3, 3, 3, 3}, {{0, 1, 2}, {0, 1}}, {}), mismatch);
    EXPECT_EQ(set({3, 3, 3, 3}, {{0, 1, 2}}, {7}), mismatch);
    const auto broken = [](Ints&) -> bool { throw 1; };
    EXPECT_EQ(list->SetRecords(1, 0, {}, {}, 0, broken, 0, From({}), 0, From({}), 0, From({}), {}),
              1);
    EXPECT_EQ(list->LoadRecords(1, {}, 0, From({}), 0, nullptr, 0, From({}), 0, From({})), 1);
    EXPECT_EQ(samples::Describe(list.base), before) << "nothing has changed";

    EXPECT_EQ(list->LoadRecords(9, {4, 3, 2, 1}, 1 << 30, From({{0, 1, 2}, {0, 1}, {1, 3, 5}}), -1,
                                From({}), 0, From({}), 0, From({})),
              1)
        << "one was left out";
    EXPECT_EQ(list->GetBlockDOFCount(1), 3);
    EXPECT_EQ(list->GetDistinctDOFCount(), 5);
    EXPECT_EQ((std::array<int, 4>{list->GetTotal1(), list->GetTotal2(), list->GetTotal3(),
                                  list->GetTotal4()}),
              (std::array<int, 4>{1, 3, 2, 4}));
    EXPECT_EQ(list->VisitRecords(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                 nullptr, nullptr),
              1);
    Object<IPODOFList> empty;
    EXPECT_EQ(empty.Store(), 1) << "no width is known";
    IPODOFList::Records rows;
    IPODOFList::Flat flat;
    IPODOFList::Ids ids;
    const auto extract = [&](IPODOFList& from) {
        return from.ExtractBlock(nullptr, flat, nullptr, flat, ids, flat, nullptr, flat, ids,
                                 nullptr, flat, ids);
    };
    const auto sizes = [](auto, auto, auto, auto) {};
    const auto ignore = [](const Ints&) {};
    const auto visit = [&](IPODOFList& from, const IPODOFList::Visitor& last) {
        return from.VisitRecords(sizes, nullptr, ignore, nullptr, ignore, nullptr, ignore, nullptr,
                                 last);
    };
    const auto exportAll = [&](IPODOFList& from, const IPODOFList::Sizes& first) {
        return from.ExportRecords(first, nullptr, nullptr, rows, nullptr, rows, nullptr, rows,
                                  nullptr);
    };
    EXPECT_EQ(
        Ints({extract(*empty.typed), visit(*empty.typed, ignore), exportAll(*empty.typed, sizes)}),
        Ints({1, 1, 1}));
    EXPECT_EQ(
        Ints({extract(*list.typed), visit(*list.typed, ignore), exportAll(*list.typed, sizes)}),
        Ints({0, 0, 0}));
    EXPECT_EQ(visit(*list.typed, nullptr), 1);
    EXPECT_EQ(exportAll(*list.typed, nullptr), 1);
    list->SetSelectedBlock(-1);
    flat = {7};
    EXPECT_EQ(extract(*list.typed), 0);
    EXPECT_EQ(flat, Ints{7}) << "a header has no records";
    EXPECT_EQ(list->Reserved(), 0);
    EXPECT_EQ(list->LoadRecords(9, {4, 3, 2, 1}, 0, From({{0, 1, 2}}), 0, From({}), 0, From({}), 0,
                                From({})),
              0);
}

TEST(DOFList, StoresNoBlocksThatItCouldNotReadBack) {
    struct Case {
        const char* what;
        Ints record;  // of kind 2
        int extraWidth;
        Ints extra;
        int result;
    };
    const Case cases[] = {{"three blocks", {4, 1, 2}, 0, {}, 0},
                          {"an extra entry each", {4, 1, 2}, 1, {7}, 0},
                          {"an extra entry too few", {4, 1, 2}, 2, {7}, 1},
                          {"a width that is none", {4, 1, 2}, -1, {}, 1},
                          {"more blocks than names", {200'000, 1, 2}, 0, {}, 1}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Object<IPODOFList> list;
        list->SetExtraWidth(static_cast<int>(c.extra.size()));
        list->SetSelectedBlock(-1);
        ASSERT_EQ(list->SetRecords(1, 0, {}, {3, 3, 3, 3}, 0, From({}), 0, From({c.record}), 0,
                                   From({}), 0, From({c.record}), c.extra),
                  0);
        list->SetExtraWidth(c.extraWidth);
        EXPECT_EQ(list.Store(), c.result);
    }
    // A file of the whole list whose last entry makes no record.
    Object<IPODOFList> list;
    WriteFile(list.directory / list.base.GetFileName(),
              Integers({-1, 0, 0, 0, 0, 0, 3}) + Vector({3, 1, 1, 7}) + Integers({3}) + Vector({}) +
                  Integers({3}) + Vector({}) + Integers({4}) + Vector({}));
    ASSERT_EQ(list.base.Load(), 0);
    list->SetSelectedBlock(-1);
    const std::string stored = list.Stored();
    EXPECT_EQ(list.Store(), 1);
    EXPECT_EQ(list.Stored(), stored);
}

TEST(DOFList, KeepsNoExtraEntriesOfAnotherList) {
    Object<IPODOFList> list;
    FillBlocked(*list.typed);
    ASSERT_EQ(list.Store(), 0);
    Object<IPODOFList> whole;
    samples::Fill(whole.base);
    ASSERT_EQ(whole.Store(), 0);
    list->SetSelectedBlock(2);
    ASSERT_EQ(list.base.Load(), 0);
    list->SetSelectedBlock(-2);
    WriteFile(list.directory / "file2.dat", whole.Stored());
    ASSERT_EQ(list.base.Load(), 0);
    for (const auto& stored : {list.typed, whole.typed}) stored->SetSelectedBlock(-1);
    ASSERT_EQ(list.Store(), 0) << "what was held before does not stand in the way";
    ASSERT_EQ(whole.Store(), 0);
    EXPECT_EQ(list.Stored(), whole.Stored());
}

TEST(DOFList, ExportsRecordsAndTheHighestDOF) {
    Object<IPODOFList> list;
    FillBlocked(*list.typed);
    IPODOFList::Records rows1(1), rows2, rows3;
    int highest = -1, count4 = -1;
    const auto sizes = [&](auto, auto second, auto, auto) {
        rows2.resize(static_cast<std::size_t>(second.first) + 1);
    };
    ASSERT_EQ(list->ExportRecords(sizes, &highest, nullptr, rows1, nullptr, rows2, nullptr, rows3,
                                  &count4),
              0);
    EXPECT_EQ(rows1, (IPODOFList::Records{{-1, 2, 2, 71}, {5, 1, 9, 70}}));
    EXPECT_EQ(rows2.size(), 4u);
    EXPECT_TRUE(rows3.empty());
    EXPECT_EQ(highest, 5) << "owners of the last block and above do not count";
    EXPECT_EQ(count4, 2);
    // Distinct DOFs are counted kind by kind from the records when the header does not know them.
    const std::string file = list.directory / "file2.dat";
    WriteFile(file, Integers({-1, 0, 0, 0, 0, 0, 3}) + Vector({3, 1, 1}) + Integers({3}) +
                        Vector({0, 1, 1000000, 0, 999999, 1000001}) + Integers({3}) +
                        Vector({0, 1, -1, 0, 2147483647, 2147483647}) + Integers({4}) +
                        Vector({0, 5, 4, 0, 1, 7, 9, 0}));
    list->SetSelectedBlock(-2);
    ASSERT_EQ(list.base.Load(), 0);
    EXPECT_EQ(list->GetBlockCount(), 2);
    EXPECT_EQ(list->GetDistinctDOFCount(), 1000001 + 2);
}

}  // namespace
