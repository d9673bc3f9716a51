// SPDX-License-Identifier: Apache-2.0
#include "tool/formats/Json.h"

#include <cmath>
#include <cstring>
#include <sstream>
#include <variant>

#include "tool/BodyReader.h"
#include "tool/Catalog.h"
#include "tool/ReadBodies.h"

namespace fieldstore::tool {
namespace {

// The not-a-number of this machine's arithmetic, and the same without its sign.
constexpr std::uint64_t kQuietNan = 0x7ff8000000000000U;
constexpr std::uint64_t kSignBit = 0x8000000000000000U;

std::uint64_t BitsOf(double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

double FromBits(std::uint64_t bits) {
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

/// Visitor that writes the fields of a body.
class FieldDumper {
public:
    explicit FieldDumper(std::ostream& stream) : out(stream) {}

    template <typename T>
    void operator()(const Field& field, const T& value) {
        out << (first ? "\n      " : ",\n      ") << Json(std::string(field.name)) << ": ";
        first = false;
        const Label* labels = field.parts.data();
        constexpr bool several = kIsContainer<T> && !kIsNumbers<T>;
        if constexpr (!several) {
            out << ToJson(value, labels);
        } else {
            const char* separator = "[\n        ";
            for (const auto& entry : value) {
                out << separator << ToJson(entry, labels);
                separator = ",\n        ";
            }
            out << (value.empty() ? "[]" : "\n      ]");
        }
    }

private:
    std::ostream& out;
    bool first = true;
};

/// A text as JSON of plain characters; bytes that are no UTF-8 as {"hex": "52756e"}, since nothing
/// may be lost.
std::string LosslessJson(const std::string& text) {
    try {
        return Json(text).dump(-1, ' ', true);
    } catch (const Json::type_error&) {
        constexpr const char* digits = "0123456789abcdef";
        std::string hex;
        for (const char c : text) {
            const auto byte = static_cast<unsigned char>(c);
            hex += {digits[byte / 16U], digits[byte % 16U]};
        }
        return Json{{"hex", hex}}.dump();
    }
}

/// What comes before the bodies.
void PutHead(const ResultFile& file, std::ostream& out) {
    out << "{\n  \"class\": " << Json(file.ClassName()) << ",\n  \"mode\": " << Json(file.Mode());
    if (KindsOfClass(file.ClassName()).size() > 1)
        out << ",\n  \"form\": " << Json(file.Info().blocked ? "blocked" : "whole");
    if (file.version) out << ",\n  \"version\": " << LosslessJson(*file.version);
    out << ",\n  \"bodies\": [";
}

void PutBody(const AnyBody& any, std::ostream& out) {
    FieldDumper dumper(out);
    std::visit([&dumper](const auto& body) { body.Visit(body, dumper); }, any);
    out << "\n    }";
}

}  // namespace

Json ToJson(double value) {
    if (std::isfinite(value)) return value;
    if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
    const std::uint64_t bits = BitsOf(value);
    if (bits == kQuietNan) return "nan";
    if (bits == (kQuietNan | kSignBit)) return "-nan";
    std::ostringstream text;
    text << "nan:" << std::hex << bits;
    return text.str();
}

double DoubleFromJson(const Json& json) {
    // The parser gives natural numbers as unsigned ones, so the only signed zero is "-0".
    if (json.is_number_integer() && !json.is_number_unsigned() && json.get<std::int64_t>() == 0)
        return -0.0;
    if (json.is_number()) return json.get<double>();
    const std::string text = json.is_string() ? json.get<std::string>() : "";
    if (text == "inf" || text == "-inf")
        return text == "inf" ? std::numeric_limits<double>::infinity()
                             : -std::numeric_limits<double>::infinity();
    if (text == "nan") return FromBits(kQuietNan);
    if (text == "-nan") return FromBits(kQuietNan | kSignBit);
    std::uint64_t bits = 0;
    std::istringstream hex(text.size() > 4 ? text.substr(4) : "");
    if (text.rfind("nan:", 0) == 0 && hex >> std::hex >> bits && std::isnan(FromBits(bits)))
        return FromBits(bits);
    throw Error("", "a number is wanted, not " + json.dump(), "");
}

void DumpJson(const ResultFile& file, std::ostream& out) {
    PutHead(file, out);
    const char* separator = "\n    {";
    ForEachBody(file, [&](const AnyBody& any, const Layout&) {
        out << separator;
        separator = ",\n    {";
        PutBody(any, out);
    });
    out << (file.bodies.empty() ? "]\n}\n" : "\n  ]\n}\n");
}

void DumpJson(const ResultFile& file, const AnyBody& body, std::ostream& out) {
    PutHead(file, out);
    out << "\n    {";
    PutBody(body, out);
    out << "\n  ]\n}\n";
}

std::string ReportText(const Json& report) {
    return report.dump(2, ' ', true, Json::error_handler_t::replace) + '\n';
}

}  // namespace fieldstore::tool
