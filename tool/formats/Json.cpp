// SPDX-License-Identifier: Apache-2.0
#include "tool/formats/Json.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <sstream>

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

/// Visitor that fills the fields of a body.
class FieldBuilder {
public:
    explicit FieldBuilder(const Json& source) : json(source) {}

    template <typename T>
    void operator()(const Field& field, T& value) {
        const std::string name(field.name);
        if (!json.contains(name)) throw Error("", "'" + name + "' is missing", "");
        try {
            FromJson(json.at(name), field.parts.data(), value);
        } catch (const Error& error) {
            throw Error("", name + ": " + error.what(), "");
        }
        ++fields;
    }

    std::size_t Fields() const { return fields; }

private:
    const Json& json;
    std::size_t fields = 0;
};

template <typename Body>
void BuildBody(const Json& json, Body& body) {
    if (!json.is_object()) throw Error("", "a body is an object", "");
    FieldBuilder builder(json);
    Body::Visit(body, builder);
    if (json.size() != builder.Fields()) throw Error("", "there are members that no field has", "");
    if constexpr (std::is_same_v<Body, BlockedDOFListBody>) {
        int expected = 0;
        for (const auto& [number, block] : body.blocks) {
            if (number != expected++) throw Error("", "blocks are numbered 0, 1, 2 ...", "");
            const auto arrays = BlockedDOFListBody::Arrays(block);
            const auto records = Records(*arrays[1], body.width2);
            for (std::size_t k = 0; k < arrays.size(); ++k) {
                const auto width = static_cast<std::size_t>(std::max(body.Widths()[k], 0));
                const auto count = k == 4 ? records : Records(*arrays[k], body.Widths()[k]);
                if (arrays[k]->size() != count * width)
                    throw Error("", "block " + std::to_string(number) + " does not fit the widths",
                                "");
            }
        }
        constexpr int mostBlocks = 100000;
        if (expected < 1 || expected > mostBlocks) throw Error("", "1 to 100000 blocks", "");
    }
}

JsonHead ReadHead(const Json& document) {
    const auto text = [&document](const char* name) {
        if (!document.contains(name) || !document.at(name).is_string())
            throw Error("", std::string("the text '") + name + "' is missing", "");
        return document.at(name).get<std::string>();
    };
    JsonHead head{};
    const std::string mode = text("mode");
    if (mode != "text" && mode != "binary") throw Error("", "mode is text or binary", "");
    head.text = mode == "text";
    const auto kinds = KindsOfClass(text("class"));
    head.kind =
        document.contains("form") && text("form") == "blocked" ? kinds.back() : kinds.front();
    if (document.contains("version")) head.version = text("version");
    if (head.version && !Kinds()[head.kind].traits->versionLine)
        throw Error("", "files of this class have no version", "Leave 'version' out.");
    return head;
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
    out << "{\n  \"class\": " << Json(file.ClassName()) << ",\n  \"mode\": " << Json(file.Mode());
    if (KindsOfClass(file.ClassName()).size() > 1)
        out << ",\n  \"form\": " << Json(file.Info().blocked ? "blocked" : "whole");
    if (file.version) out << ",\n  \"version\": " << Json(*file.version);
    out << ",\n  \"bodies\": [";
    const char* separator = "\n    {";
    ForEachBody(file, [&](const AnyBody& any, const Layout&) {
        out << separator;
        separator = ",\n    {";
        FieldDumper dumper(out);
        std::visit([&dumper](const auto& body) { body.Visit(body, dumper); }, any);
        out << "\n    }";
    });
    out << (file.bodies.empty() ? "]\n}\n" : "\n  ]\n}\n");
}

void BuildFromJson(const Json& document, const std::function<void(const JsonHead&)>& begin,
                   const std::function<void(const AnyBody&)>& take) {
    if (!document.is_object()) throw Error("", "the document is not an object", "");
    const JsonHead head = ReadHead(document);
    if (!document.contains("bodies") || !document.at("bodies").is_array())
        throw Error("", "the array 'bodies' is missing", "");
    const Json& bodies = document.at("bodies");
    const Kind& kind = Kinds()[head.kind];
    if (!kind.Appends() && bodies.size() != 1)
        throw Error("", "a file of this class has one body, not " + std::to_string(bodies.size()),
                    "");
    begin(head);
    for (std::size_t i = 0; i < bodies.size(); ++i) {
        AnyBody any = kind.make();
        try {
            std::visit([&](auto& body) { BuildBody(bodies[i], body); }, any);
        } catch (const Error& error) {
            throw Error("", "bodies[" + std::to_string(i) + "]: " + error.what(), "");
        }
        take(any);
    }
}

}  // namespace fieldstore::tool
