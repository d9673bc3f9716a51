// SPDX-License-Identifier: Apache-2.0
// Text as the standard inserters and extractors do it, in the library's layout.
#include <iomanip>
#include <locale>

#include "FileStreams.h"

namespace bench {
namespace {

void Insert(std::ostream& out, const Complex& value, char after) {
    out << value.real() << ' ' << value.imag() << after;
}

void InsertMode(std::ostream& out, const Mode& mode) {
    out << mode.first.first << ' ';
    Insert(out, mode.first.second, ' ');
    out << mode.second.size() << '\n';
    for (const Complex& value : mode.second) Insert(out, value, '\n');
}

void InsertMap(std::ostream& out, const ModeMap& map) {
    out << map.size() << '\n';
    for (const auto& [key, modes] : map) {
        out << key.first << ' ' << key.second << '\n' << modes.size() << '\n';
        for (const Mode& mode : modes) InsertMode(out, mode);
    }
}

void InsertList(std::ostream& out, const std::vector<double>& values) {
    out << values.size() << '\n';
    for (const double value : values) out << value << '\n';
}

void Extract(std::istream& in, Complex& value) {
    double real = 0;
    double imag = 0;
    in >> real >> imag;
    value = {real, imag};
}

std::size_t ExtractCount(std::istream& in) {
    std::size_t count = 0;
    if (!(in >> count)) throw std::runtime_error("Not a count.");
    return count;
}

void ExtractMode(std::istream& in, Mode& mode) {
    in >> mode.first.first;
    Extract(in, mode.first.second);
    mode.second.resize(ExtractCount(in));
    for (Complex& value : mode.second) Extract(in, value);
}

void ExtractMap(std::istream& in, ModeMap& map) {
    for (std::size_t count = ExtractCount(in); count != 0; --count) {
        std::pair<std::int64_t, int> key;
        in >> key.first >> key.second;
        const auto entry = map.emplace_hint(map.end(), key, ExtractCount(in));
        for (Mode& mode : entry->second) ExtractMode(in, mode);
    }
    if (!in) throw std::runtime_error("Not a number.");
}

void ExtractList(std::istream& in, std::vector<double>& values) {
    values.resize(ExtractCount(in));
    for (double& value : values) in >> value;
    if (!in) throw std::runtime_error("Not a number.");
}

struct Iostream {
    static constexpr const char* kName = "iostream";
    static constexpr bool kSameBytes = true;

    static void Write(const std::string& path, const ModeMap& value) {
        WriteBy(path, &InsertMap, value);
    }
    static void Write(const std::string& path, const std::vector<double>& value) {
        WriteBy(path, &InsertList, value);
    }

    static void Read(const std::string& path, ModeMap& value) { ReadBy(path, &ExtractMap, value); }
    static void Read(const std::string& path, std::vector<double>& value) {
        ReadBy(path, &ExtractList, value);
    }

private:
    template <typename T>
    static void WriteBy(const std::string& path, void (*insert)(std::ostream&, const T&),
                        const T& value) {
        OutputFile file(path, std::ios::out);
        file.Get().imbue(std::locale::classic());
        file.Get() << std::setprecision(16);
        insert(file.Get(), value);
        file.Close();
    }
    template <typename T>
    static void ReadBy(const std::string& path, void (*extract)(std::istream&, T&), T& value) {
        InputFile file(path, std::ios::in);
        file.Get().imbue(std::locale::classic());
        extract(file.Get(), value);
    }
};

}  // namespace

void AddIostream(std::vector<Case>& cases) {
    AddCases<Iostream>(TextWorkloads(), cases);
}

}  // namespace bench
