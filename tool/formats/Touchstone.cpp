// SPDX-License-Identifier: Apache-2.0
#include "tool/formats/Touchstone.h"

#include <Eigen/Dense>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <map>
#include <numeric>
#include <ostream>
#include <regex>
#include <set>
#include <system_error>
#include <type_traits>
#include <variant>
#include <vector>

#include "streams/NumberText.h"
#include "tool/Error.h"
#include "tool/Program.h"
#include "tool/Terminal.h"

namespace fieldstore::tool {
namespace {

using Matrix = Eigen::MatrixXcd;
using Index = Eigen::Index;

constexpr std::array<char, 3> kParameters{'s', 'z', 'y'};
constexpr double kUsualReference = 50;

/// Which types of matrices are the parts of what.
struct Source {
    char parameter = 's';
    int real = 0;
    int imaginary = 0;

    std::string Name() const { return {static_cast<char>(parameter - 'a' + 'A')}; }
};

template <typename T>
std::vector<T> NumbersIn(const std::string& text, const std::string& option) {
    std::vector<T> numbers;
    const char* next = text.data();
    const char* const end = text.data() + text.size();
    while (true) {
        T number{};
        const auto read = FromChars(next, end, number);
        const bool whole = read.ec == std::errc() && (read.ptr == end || *read.ptr == ',');
        if (!whole)
            throw Error("", "numbers with commas between them are wanted, not '" + text + "'",
                        "Give them as in " + option + ".");
        numbers.push_back(number);
        if (read.ptr == end) return numbers;
        next = read.ptr + 1;
    }
}

std::string TypesIn(const CircuitMatricesBody& body) {
    std::set<int> types;
    for (const auto& entry : body.matrices) types.insert(entry.first.second);
    std::string text;
    for (const int type : types) text += (text.empty() ? "" : ", ") + std::to_string(type);
    return text.empty() ? "none" : text;
}

bool HasType(const CircuitMatricesBody& body, int type) {
    return std::any_of(body.matrices.begin(), body.matrices.end(),
                       [type](const auto& entry) { return entry.first.second == type; });
}

/// The first of the pairs Re S and Im S, Re Z and Im Z, Re Y and Im Y that labels name.
Source SourceFromLabels(const CircuitMatricesBody& body, const Labels& labels) {
    for (const char parameter : kParameters) {
        Source source{parameter, 0, 0};
        int named = 0;
        for (const auto& [type, label] : labels.All(Labels::eMatrixTypes)) {
            if (!HasType(body, type)) continue;
            if (label.name == "Re " + source.Name()) source.real = type, named |= 1;
            if (label.name == "Im " + source.Name()) source.imaginary = type, named |= 2;
        }
        if (named == 3) return source;
    }
    throw Error("", "which types of matrices are the real and the imaginary part of what?",
                "Say so as in --parameter z=0,1, or name them in labels.json; the file has the "
                "types " +
                    TypesIn(body) + ".");
}

Source SourceOf(const CircuitMatricesBody& body, const Labels& labels, const std::string& chosen) {
    if (chosen.empty()) return SourceFromLabels(body, labels);
    const std::string example = "--parameter z=0,1";
    const bool known = chosen.size() > 2 && chosen[1] == '=' &&
                       std::count(kParameters.begin(), kParameters.end(), chosen[0]) != 0;
    const auto types = NumbersIn<int>(known ? chosen.substr(2) : "", example);
    if (types.size() != 2)
        throw Error("", "two types are wanted, those of the real and the imaginary part",
                    "Give them as in " + example + ".");
    for (const int type : types)
        if (!HasType(body, type))
            throw Error("", "there is no matrix of type " + std::to_string(type),
                        "The file has the types " + TypesIn(body) + ".");
    return {chosen[0], types[0], types[1]};
}

/// Complex matrices by frequency.
using Series = std::map<std::int64_t, Matrix>;

const Doubles& PartAt(const CircuitMatricesBody& body, std::int64_t frequency, int type) {
    const auto found = body.matrices.find({frequency, type});
    if (found != body.matrices.end()) return found->second;
    throw Error("",
                "at frequency " + std::to_string(frequency) + " there is no matrix of type " +
                    std::to_string(type),
                "Both parts are needed at every frequency.");
}

Matrix MatrixOf(const Doubles& real, const Doubles& imaginary, std::int64_t frequency) {
    Index size = 0;
    while ((size + 1) * (size + 1) <= static_cast<Index>(real.size())) ++size;
    if (size == 0 || size * size != static_cast<Index>(real.size()) ||
        real.size() != imaginary.size())
        throw Error("", "at frequency " + std::to_string(frequency) + " the parts are no squares",
                    "Run fieldstore check.");
    Matrix matrix(size, size);
    for (Index row = 0; row < size; ++row) {
        for (Index column = 0; column < size; ++column) {
            const auto at = static_cast<std::size_t>(row * size + column);
            matrix(row, column) = {real[at], imaginary[at]};
        }
    }
    return matrix;
}

Series SeriesOf(const CircuitMatricesBody& body, const Source& source) {
    Series series;
    for (const auto& entry : body.matrices) {
        const auto [frequency, type] = entry.first;
        if ((type != source.real && type != source.imaginary) || series.count(frequency) != 0)
            continue;
        if (frequency < 0)
            throw Error("", "a Touchstone file has no negative frequencies",
                        "The first one is " + std::to_string(frequency) + ".");
        const Matrix matrix = MatrixOf(PartAt(body, frequency, source.real),
                                       PartAt(body, frequency, source.imaginary), frequency);
        if (!series.empty() && series.begin()->second.rows() != matrix.rows()) {
            throw Error(
                "", "at frequency " + std::to_string(frequency) + " the matrix has another size",
                "A Touchstone file has one number of ports.");
        }
        series.emplace_hint(series.end(), frequency, matrix);
    }
    return series;
}

std::vector<double> ReferencesOf(const std::string& chosen, std::size_t ports) {
    auto references = chosen.empty() ? std::vector<double>{kUsualReference}
                                     : NumbersIn<double>(chosen, "--reference 50");
    if (references.size() == 1) references = std::vector<double>(ports, references.front());
    if (references.size() != ports) {
        throw Error("",
                    std::to_string(references.size()) + " references for " +
                        Counted(ports, "port", "ports") + " of the matrix",
                    "Give --reference one, or one for each.");
    }
    for (const double reference : references)
        if (!(reference > 0 && std::isfinite(reference)))
            throw Error("", "a reference is a resistance above 0", "Give it in ohms.");
    return references;
}

/// S of Z or Y for real references R: with z = R^-1/2 Z R^-1/2 it is (z + 1)^-1 (z - 1), and with
/// y = R^1/2 Y R^1/2 it is (1 + y)^-1 (1 - y); see D. M. Pozar, Microwave Engineering, 4.3.
Matrix ScatteringOf(const Matrix& stored, const Source& source,
                    const std::vector<double>& references) {
    if (source.parameter == 's') return stored;
    Eigen::VectorXd scale(stored.rows());
    for (Index i = 0; i < scale.size(); ++i) {
        const double root = std::sqrt(references[static_cast<std::size_t>(i)]);
        scale[i] = source.parameter == 'z' ? 1 / root : root;
    }
    const Matrix normalised = scale.asDiagonal() * stored * scale.asDiagonal();
    const Matrix one = Matrix::Identity(stored.rows(), stored.cols());
    const Eigen::PartialPivLU<Matrix> divisor(normalised + one);
    if (!(divisor.rcond() > std::numeric_limits<double>::epsilon()))
        throw Error("", source.Name() + " has no S", "Another --reference may give one.");
    return divisor.solve(source.parameter == 'z' ? Matrix(normalised - one)
                                                 : Matrix(one - normalised));
}

std::vector<Index> PortsOf(const std::string& chosen, Index size) {
    std::vector<Index> ports(static_cast<std::size_t>(size));
    std::iota(ports.begin(), ports.end(), 0);
    if (chosen.empty()) return ports;
    ports = NumbersIn<Index>(chosen, "--ports 0,6");
    std::set<Index> distinct;
    for (const Index port : ports) {
        if (port < 0 || port >= size)
            throw Error("", "there is no port " + std::to_string(port),
                        "The ports of the matrices are 0 to " + std::to_string(size - 1) + ".");
        if (!distinct.insert(port).second)
            throw Error("", "port " + std::to_string(port) + " is chosen twice", "Name it once.");
    }
    return ports;
}

/// The whole hertz of a frequency in a unit of 10^digits hertz, exactly.
std::string FrequencyText(std::int64_t hertz, std::size_t digits) {
    std::string text = std::to_string(hertz);
    if (text.size() <= digits) text.insert(0, digits + 1 - text.size(), '0');
    text.insert(text.size() - digits, ".");
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
    return text;
}

std::size_t DigitsOf(const std::string& unit) {
    static const std::map<std::string, std::size_t> digits{
        {"Hz", 0}, {"kHz", 3}, {"MHz", 6}, {"GHz", 9}};
    return digits.at(unit);
}

std::string ComplexText(const Complex& value, const std::string& notation) {
    if (notation == "RI") return NumberText(value.real()) + ' ' + NumberText(value.imag());
    constexpr double halfTurn = 180;
    const double magnitude = std::abs(value);
    const double angle = std::arg(value) * (halfTurn / std::acos(-1.0));
    if (notation == "MA") return NumberText(magnitude) + ' ' + NumberText(angle);
    // 0 has no logarithm; a double of -9999 dB is 0 again.
    const double level = magnitude == 0 ? -9999 : 20 * std::log10(magnitude);
    return NumberText(level) + ' ' + NumberText(angle);
}

/// The content of a file.
class TouchstoneFile {
public:
    /// Raises what the data lack, or what such a file cannot hold.
    TouchstoneFile(const CircuitMatricesBody& body, const Labels& labels,
                   const TouchstoneOptions& chosen)
        : options(chosen), source(SourceOf(body, labels, options.parameter)) {
        series = SeriesOf(body, source);
        const Index size = series.begin()->second.rows();
        const auto references = ReferencesOf(options.reference, static_cast<std::size_t>(size));
        for (auto& [frequency, matrix] : series) Convert(frequency, matrix, references);
        ports = PortsOf(options.ports, size);
        for (const Index port : ports)
            portReferences.push_back(references[static_cast<std::size_t>(port)]);
        if (!options.version2 && !HasOneReference())
            throw Error("", "version 1 of Touchstone has one reference for all ports",
                        "Use --format touchstone2, or one --reference.");
    }

    std::size_t PortCount() const { return ports.size(); }

    void Write(std::ostream& out) const {
        PutHead(out);
        for (const auto& [frequency, s] : series) PutMatrix(out, frequency, s);
        if (options.version2) out << "[End]\n";
    }

private:
    void Convert(std::int64_t frequency, Matrix& matrix,
                 const std::vector<double>& references) const {
        try {
            matrix = ScatteringOf(matrix, source, references);
            if (!matrix.allFinite()) throw Error("", "S is not finite", "Run fieldstore check.");
        } catch (const Error& error) {
            throw Error("frequency " + std::to_string(frequency), error, "");
        }
    }

    bool HasOneReference() const {
        return std::all_of(portReferences.begin(), portReferences.end(),
                           [this](double other) { return other == portReferences.front(); });
    }

    void PutHead(std::ostream& out) const {
        out << "! fieldstore " << VersionNumber() << ", from " << source.Name() << " of types "
            << source.real << " and " << source.imaginary << '\n';
        if (options.version2) out << "[Version] 2.0\n";
        out << "# " << options.unit << " S " << options.notation << " R "
            << NumberText(portReferences.front()) << '\n';
        if (options.version2) PutKeywords(out);
        for (std::size_t i = 0; i < ports.size(); ++i)
            out << "! Port[" << i + 1 << "] = " << ports[i] << '\n';
        if (options.version2) out << "[Network Data]\n";
    }

    void PutKeywords(std::ostream& out) const {
        out << "[Number of Ports] " << ports.size() << '\n';
        if (ports.size() == 2) out << "[Two-Port Data Order] 21_12\n";
        out << "[Number of Frequencies] " << series.size() << "\n[Reference]\n";
        for (std::size_t i = 0; i < ports.size(); ++i)
            out << (i == 0 ? "" : " ") << NumberText(portReferences[i]);
        out << '\n';
    }

    /// Two ports stand column after column in a line. More begin a line with every row, with four
    /// numbers to a line at most.
    void PutMatrix(std::ostream& out, std::int64_t frequency, const Matrix& s) const {
        constexpr std::size_t mostInLine = 4;
        const std::size_t size = ports.size();
        out << FrequencyText(frequency, DigitsOf(options.unit));
        for (std::size_t row = 0; row < size; ++row) {
            for (std::size_t column = 0; column < size; ++column) {
                const bool isContinued = column != 0 && column % mostInLine == 0;
                if (isContinued || (size > 2 && row != 0 && column == 0)) out << "\n ";
                const auto value =
                    size == 2 ? s(ports[column], ports[row]) : s(ports[row], ports[column]);
                out << ' ' << ComplexText(value, options.notation);
            }
        }
        out << '\n';
    }

    TouchstoneOptions options;
    Source source;
    Series series;
    std::vector<Index> ports;
    std::vector<double> portReferences;  // of these
};

/// Readers take the number of ports from the file's name.
void RequireNameFits(const std::string& output, std::size_t ports) {
    static const std::regex pattern(R"(.*\.s(\d+)p)", std::regex::icase);
    const std::string name = std::filesystem::path(output).filename().string();
    std::smatch parts;
    if (std::regex_match(name, parts, pattern) && parts[1] != std::to_string(ports))
        throw Error(output, "the name belongs to another number of ports",
                    "Let it end in .s" + std::to_string(ports) + "p.");
}

TouchstoneOptions Completed(TouchstoneOptions options) {
    if (options.unit.empty()) options.unit = "GHz";
    if (options.notation.empty()) options.notation = "RI";
    return options;
}

/// The content for a body; raises with the name of its file.
TouchstoneFile ContentOf(const AnyBody& any, const Labels& labels, const TouchstoneOptions& options,
                         const std::string& input) {
    return std::visit(
        [&](const auto& body) -> TouchstoneFile {
            using Body = std::decay_t<decltype(body)>;
            if constexpr (!std::is_same_v<Body, CircuitMatricesBody>) {
                RefuseClass<Body>("touchstone");
            } else {
                try {
                    return TouchstoneFile(body, labels, options);
                } catch (const Error& error) {
                    throw Error(input, error, "");
                }
            }
        },
        any);
}

}  // namespace

void DescribeTouchstone(const CommandLine& command, TouchstoneOptions& options) {
    command
        .Value("--parameter", options.parameter,
               "touchstone: types of the real and imaginary part of Z (z=0,1), Y (y=2,3) or S\n"
               "(s=4,5); else labels.json tells")
        .Shows("X=RE,IM");
    command
        .Value("--reference", options.reference,
               "touchstone: resistance that S refers to, one or one for each port of the\n"
               "matrix (50)")
        .Shows("OHMS");
    command
        .Value("--ports", options.ports,
               "touchstone: rows and columns to take of S, from 0, as in 0,6; the other ports\n"
               "end in their reference")
        .Shows("LIST");
    command.Value("--unit", options.unit, "touchstone: unit of the frequencies (GHz)")
        .AnyOf({"Hz", "kHz", "MHz", "GHz"});
    command
        .Value("--notation", options.notation,
               "touchstone: real and imaginary part, magnitude and angle, or dB and angle (RI)")
        .AnyOf({"RI", "MA", "DB"});
}

void DumpTouchstone(const AnyBody& body, const std::string& input, const Labels& labels,
                    const TouchstoneOptions& options, const std::string& output,
                    const FileSet& files) {
    const TouchstoneFile content = ContentOf(body, labels, Completed(options), input);
    const std::string ports = std::to_string(content.PortCount());
    RequireNameFits(output, content.PortCount());
    files.WriteSingle("circuitmatrices." + (options.version2 ? "ts" : "s" + ports + "p"),
                      [&](std::ostream& out) { content.Write(out); });
}

}  // namespace fieldstore::tool
