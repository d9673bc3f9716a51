// SPDX-License-Identifier: Apache-2.0
#include "tool/Labels.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "streams/FileNames.h"
#include "tool/Error.h"
#include "tool/formats/Json.h"

namespace fieldstore::tool {
namespace fs = std::filesystem;
namespace {

constexpr int kSchema = 1;
/// More is no list of names; the file may be anyone's.
constexpr std::uintmax_t kLargest = 1U << 20U;

constexpr std::array<const char*, 4> kGroupNames{"matrixTypes", "entityTypes", "valueTypes",
                                                 "resolveFunctions"};
constexpr std::array<const char*, 6> kResolveFunctions{"Replace", "Append", "Sum",
                                                       "Mean",    "Max",    "Min"};

/// The place of a member of what stands at another place, as valueTypes.31.name.
std::string Inside(std::string place, const std::string& member) {
    return place.append(".").append(member);
}

/// Raises what is wrong at a place in the document.
[[noreturn]] void Refuse(const std::string& place, const std::string& cause) {
    throw Error(place, cause, "");
}

std::string TextFrom(const Json& json, const std::string& place) {
    if (!json.is_string()) Refuse(place, "a text is wanted, not " + json.dump());
    return json.get<std::string>();
}

std::vector<std::string> TextsFrom(const Json& json, const std::string& place) {
    if (!json.is_array()) Refuse(place, "an array of texts is wanted, not " + json.dump());
    std::vector<std::string> texts;
    for (const Json& text : json)
        texts.push_back(TextFrom(text, place + "[" + std::to_string(texts.size()) + "]"));
    return texts;
}

TypeLabel LabelFrom(const Json& json, const std::string& place) {
    if (!json.is_object()) Refuse(place, "{\"name\": ...} is wanted, not " + json.dump());
    TypeLabel label;
    for (const auto& [member, value] : json.items()) {
        const std::string inner = Inside(place, member);
        if (member == "name")
            label.name = TextFrom(value, inner);
        else if (member == "unit")
            label.unit = TextFrom(value, inner);
        else if (member == "components")
            label.components = TextsFrom(value, inner);
        else
            Refuse(inner, "a label has a name, a unit and components, nothing else");
    }
    if (label.name.empty()) Refuse(place, "the name is missing");
    return label;
}

int NumberFrom(const std::string& key, const std::string& place) {
    int number = 0;
    const auto end = std::from_chars(key.data(), key.data() + key.size(), number);
    if (end.ec != std::errc() || std::to_string(number) != key)
        Refuse(place, "the number of a type is wanted, as \"31\"");
    return number;
}

void ReadGroup(const Json& json, Labels::Group group, Labels& labels) {
    const std::string place = kGroupNames[group];
    if (!json.is_object()) Refuse(place, "an object is wanted, not " + json.dump());
    for (const auto& [key, value] : json.items()) {
        const std::string inner = Inside(place, key);
        labels.Set(group, NumberFrom(key, inner), LabelFrom(value, inner));
    }
}

Labels LabelsFrom(const Json& json) {
    if (!json.is_object()) Refuse("", "an object is wanted");
    if (!json.contains("schema")) Refuse("schema", "is missing; this program knows schema 1");
    if (json.at("schema") != kSchema)
        Refuse("schema", json.at("schema").dump() + " is not known; this program knows 1");
    Labels labels;
    for (const auto& [member, value] : json.items()) {
        if (member == "schema" || member == "$schema" || member == "comment") continue;
        const auto found = std::find(kGroupNames.begin(), kGroupNames.end(), member);
        if (found == kGroupNames.end())
            Refuse(member, "is not one of matrixTypes, entityTypes, valueTypes, resolveFunctions");
        ReadGroup(value, static_cast<Labels::Group>(found - kGroupNames.begin()), labels);
    }
    return labels;
}

/// Raises when a member stands twice in its object, as one of them would be lost.
class RefuseRepeats {
public:
    bool operator()(int /*depth*/, Json::parse_event_t event, Json& parsed) {
        if (event == Json::parse_event_t::object_start) {
            open.emplace_back();
        } else if (event == Json::parse_event_t::object_end) {
            open.pop_back();
        } else if (event == Json::parse_event_t::key) {
            const auto name = parsed.get<std::string>();
            if (!open.back().insert(name).second) Refuse(name, "is there twice");
        }
        return true;
    }

private:
    std::vector<std::set<std::string>> open;  // the members of each object that is not closed yet
};

std::string ContentOf(const std::string& path) {
    std::error_code none;
    if (platform::TypeOf(path, platform::Links::Follow, none) != fs::file_type::regular)
        Refuse("", platform::Exists(path) ? "is not a file" : "there is no such file");
    if (platform::SizeOf(path, none) > kLargest || none) Refuse("", "is larger than 1 MiB");
    std::ifstream file(platform::PathOf(path), std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    if (!file) Refuse("", "cannot be read");
    return content.str();
}

/// The parser's own words name its library first: [json.exception.parse_error.101] parse error ...
std::string WhereParsingFailed(const std::string& what) {
    const auto begin = what.find("] ");
    return begin == std::string::npos ? what : what.substr(begin + 2);
}

}  // namespace

Labels::Labels() {
    for (std::size_t i = 0; i < kResolveFunctions.size(); ++i)
        Set(eResolveFunctions, static_cast<int>(i), {kResolveFunctions[i], "", {}});
}

Labels Labels::Read(const std::string& path) {
    try {
        // Copied as a std::function anyway, hence the reference.
        RefuseRepeats refuse;
        return LabelsFrom(Json::parse(ContentOf(path), std::ref(refuse)));
    } catch (const Error& error) {
        throw Error(path, error, "docs/labels.md tells the form; correct it or move it away.");
    } catch (const Json::exception& error) {
        throw Error(path, WhereParsingFailed(error.what()), "Correct it or move it away.");
    }
}

Labels Labels::Beside(const std::string& resultFile) {
    const std::string path = resultFile.substr(0, platform::LastNameIn(resultFile)) + kLabelsName;
    std::error_code none;
    return platform::Exists(path) ? Read(path) : Labels();
}

const TypeLabel* Labels::Find(Group group, int number) const {
    const auto found = groups[group].find(number);
    return found == groups[group].end() ? nullptr : &found->second;
}

void Labels::Set(Group group, int number, TypeLabel label) {
    groups[group].insert_or_assign(number, std::move(label));
}

TypeLabel Labels::Of(std::string_view field, std::string_view part, std::int64_t value) const {
    const int number = static_cast<int>(value);
    const auto label = [this, number](Group group) {
        const TypeLabel* found = Find(group, number);
        return found == nullptr ? TypeLabel() : *found;
    };
    if (part == "function") return label(eResolveFunctions);
    if (part != "type") return {};
    if (field == "matrices") return label(eMatrixTypes);
    if (Find(eValueTypes, number) != nullptr) return label(eValueTypes);
    const TypeLabel* entity = Find(eEntityTypes, EntityTypeOf(number));
    if (entity == nullptr) return {};
    return {"value " + std::to_string(ValueTypeOf(number)) + " of " + entity->name, "", {}};
}

Labels Labels::Only(const std::vector<Group>& chosen) const {
    Labels only;
    only.groups = {};
    for (const Group group : chosen) only.groups[group] = groups[group];
    return only;
}

bool Labels::NamesTypes() const {
    return !groups[eMatrixTypes].empty() || !groups[eEntityTypes].empty() ||
           !groups[eValueTypes].empty();
}

std::string Labels::Document() const {
    Json document{{"schema", kSchema}};
    for (std::size_t group = 0; group < groups.size(); ++group) {
        Json& entries = document[kGroupNames[group]] = Json::object();
        for (const auto& [number, label] : groups[group]) {
            Json& entry = entries[std::to_string(number)] = {{"name", label.name}};
            if (!label.unit.empty()) entry["unit"] = label.unit;
            if (!label.components.empty()) entry["components"] = label.components;
        }
    }
    return ReportText(document);
}

}  // namespace fieldstore::tool
