// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <functional>
#include <istream>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tool/Bodies.h"
#include "tool/Catalog.h"
#include "tool/Error.h"
#include "tool/formats/BodiesBuilder.h"
#include "tool/formats/Json.h"

namespace fieldstore::tool {
namespace {

// Containers inside each other. What dump writes has nine at the most; without a bound, values that
// are handled by recursion would use up the stack.
constexpr std::size_t kDeepest = 32;

/// A version text; one that is no UTF-8 stands as {"hex": its bytes}.
std::string VersionFrom(const Json& json) {
    if (json.is_string()) return json.get<std::string>();
    const bool isHex =
        json.is_object() && json.size() == 1 && json.contains("hex") && json.at("hex").is_string();
    if (!isHex) throw Error("", "version is a text, or {\"hex\": its bytes}", "");
    const auto hex = json.at("hex").get<std::string>();
    const auto digit = [](char c) { return std::string("0123456789abcdef").find(c); };
    std::string text;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        const auto byte = digit(hex[i]) * 16 + digit(hex[i + 1]);
        if (byte > 0xFF) throw Error("", "version: two digits, 0 to f, make a byte", "");
        text.push_back(static_cast<char>(byte));
    }
    if (hex.size() % 2 != 0) throw Error("", "version: two digits make a byte", "");
    return text;
}

std::string TextOf(const Json& members, const std::string& name) {
    if (!members.contains(name) || !members.at(name).is_string())
        throw Error("", "the text '" + name + "' is missing", "");
    return members.at(name).get<std::string>();
}

JsonHead ReadHead(const Json& members) {
    JsonHead head{};
    const std::string mode = TextOf(members, "mode");
    if (mode != "text" && mode != "binary") throw Error("", "mode is text or binary", "");
    head.text = mode == "text";
    const auto kinds = KindsOfClass(TextOf(members, "class"));
    const bool blocked = members.contains("form") && TextOf(members, "form") == "blocked";
    head.kind = blocked ? kinds.back() : kinds.front();
    if (members.contains("version")) head.version = VersionFrom(members.at("version"));
    if (head.version && !Kinds()[head.kind].traits->versionLine)
        throw Error("", "files of this class have no version", "Leave 'version' out.");
    return head;
}

/// The place of a member that is not there yet. Of two of one name, one would be lost.
Json& NewMember(Json& object, const std::string& name) {
    const auto [place, isNew] = object.emplace(name, nullptr);
    if (!isNew) throw Error("", "'" + name + "' is there twice", "");
    return *place;
}

/// A member stands behind the bodies, which are written by then.
struct LateMember : Error {
    explicit LateMember(const std::string& name)
        : Error("", "'" + name + "' follows the bodies",
                "Put it before 'bodies', or the document into a file.") {}
};

/// Takes a document apart while the parser reads it, and has only one value as JSON at a time: a
/// member of the head, or an element of a field. Bodies are one such value where they stand in
/// front of the head, since their class is not known before.
class DocumentReader : public nlohmann::json_sax<Json> {
public:
    DocumentReader(const std::function<void(const JsonHead&)>& beginBodies,
                   const std::function<void(const AnyBody&)>& takeBody, bool keepBodies)
        : begin(beginBodies), take(takeBody), keep(keepBodies) {}

    bool null() override { return Value(nullptr); }
    bool boolean(bool value) override { return Value(value); }
    bool number_integer(number_integer_t value) override { return Value(value); }
    bool number_unsigned(number_unsigned_t value) override { return Value(value); }
    bool number_float(number_float_t value, const string_t& /*text*/) override {
        return Value(value);
    }
    bool string(string_t& value) override { return Value(std::move(value)); }
    bool binary(binary_t& /*value*/) override { return false; }  // JSON text has none
    bool start_object(std::size_t /*count*/) override { return Begin(Json::object()); }
    bool start_array(std::size_t /*count*/) override { return Begin(Json::array()); }
    bool end_object() override { return End(); }
    bool end_array() override { return End(); }
    bool key(string_t& name) override;
    bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                     const nlohmann::detail::exception& error) override {
        // Without what was read last, which may be any bytes.
        const std::string cause = error.what();
        throw Error("", "not JSON: " + cause.substr(0, cause.find("; last read")), "");
    }

    /// After the last byte.
    void Finish();

private:
    // What a value is by the number of containers around it.
    static constexpr std::size_t kDocument = 0, kMember = 1, kBody = 2, kField = 3, kElement = 4;

    bool InBodies() const { return bodies && member == "bodies"; }
    bool HeadIsKnown() const;
    /// Whether a container is gone through, rather than kept as a value.
    bool Passes(const Json& container) const;
    bool Begin(Json container);
    bool End();
    bool Value(Json value);
    /// Where the next value in the innermost container goes.
    Json& NextPlace();
    void Complete(const Json& value);

    const std::function<void(const JsonHead&)>& begin;
    const std::function<void(const AnyBody&)>& take;
    bool keep;
    std::size_t depth = 0;  // containers that are open
    std::string member;     // of the document
    Json head = Json::object();
    std::optional<BodiesBuilder> bodies;
    Json kept;                // the value that is being read
    std::vector<Json*> open;  // its containers
    std::string name;         // of a member in the innermost one
};

bool DocumentReader::HeadIsKnown() const {
    if (!head.contains("mode") || !head.contains("class")) return false;
    return head.contains("form") || !Kinds()[KindsOfClass(TextOf(head, "class")).back()].blocked;
}

bool DocumentReader::Passes(const Json& container) const {
    if (depth == kDocument) return true;
    if (!InBodies() || !open.empty()) return false;
    if (container.is_object()) return depth == kBody;
    return depth == kMember || (depth == kField && bodies->TakesElements());
}

Json& DocumentReader::NextPlace() {
    Json& parent = *open.back();
    return parent.is_array() ? parent.emplace_back() : NewMember(parent, name);
}

bool DocumentReader::Begin(Json container) {
    if (depth == kDocument && !container.is_object())
        throw Error("", "the document is not an object", "");
    if (depth == kDeepest)
        throw Error("", "arrays and objects are nested deeper than " + std::to_string(kDeepest),
                    "No result file needs that.");
    if (Passes(container)) {
        if (depth == kBody) bodies->BeginBody();
    } else if (open.empty()) {
        kept = std::move(container);
        open.push_back(&kept);
    } else {
        Json& place = NextPlace();
        place = std::move(container);
        open.push_back(&place);
    }
    ++depth;
    return true;
}

bool DocumentReader::End() {
    --depth;
    if (!open.empty()) {
        open.pop_back();
        if (open.empty()) Complete(kept);
    } else if (depth == kBody) {
        bodies->EndBody();
    }
    return true;
}

bool DocumentReader::Value(Json value) {
    if (depth == kDocument) throw Error("", "the document is not an object", "");
    if (open.empty()) {
        Complete(value);
    } else {
        NextPlace() = std::move(value);
    }
    return true;
}

bool DocumentReader::key(string_t& text) {
    if (!open.empty()) {
        name = std::move(text);
    } else if (depth == kField) {
        bodies->BeginField(text);
    } else {
        member = std::move(text);
        if (bodies) throw LateMember(member);
        if (member != "bodies" || keep || !HeadIsKnown()) return true;
        const JsonHead read = ReadHead(head);
        begin(read);
        bodies.emplace(read.kind, take);
    }
    return true;
}

/// A value that is not gone through, at its end.
void DocumentReader::Complete(const Json& value) {
    if (!InBodies()) {
        NewMember(head, member) = value;
    } else if (depth == kElement) {
        bodies->AddElement(value);
    } else if (depth == kField) {
        bodies->SetField(value);
    } else if (depth == kBody) {
        bodies->RefuseBody();
    } else {
        throw Error("", "the array 'bodies' is missing", "");
    }
}

void DocumentReader::Finish() {
    if (!bodies) {
        const JsonHead read = ReadHead(head);
        if (!head.contains("bodies") || !head.at("bodies").is_array())
            throw Error("", "the array 'bodies' is missing", "");
        begin(read);
        bodies.emplace(read.kind, take);
        for (const Json& body : head.at("bodies")) {
            if (!body.is_object()) bodies->RefuseBody();
            bodies->BeginBody();
            for (const auto& [field, value] : body.items()) {
                bodies->BeginField(field);
                bodies->SetField(value);
            }
            bodies->EndBody();
        }
    }
    bodies->End();
}

}  // namespace

void BuildFromJson(std::istream& document, const std::function<void(const JsonHead&)>& begin,
                   const std::function<void(const AnyBody&)>& take) {
    const auto read = [&](bool keepBodies) {
        DocumentReader reader(begin, take, keepBodies);
        Json::sax_parse(document, &reader);
        // The parser takes a zero byte for the end.
        if (!document.eof()) throw Error("", "not JSON: a zero byte follows it", "");
        reader.Finish();
    };
    try {
        read(false);
    } catch (const LateMember&) {
        document.clear();
        if (!document.seekg(0)) throw;
        read(true);
    }
}

}  // namespace fieldstore::tool
