// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_FORMATS_JSON_H
#define FIELDSTORE_TOOL_FORMATS_JSON_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "objects/Field.h"
#include "streams/ContainerEncoding.h"
#include "tool/Bodies.h"
#include "tool/Error.h"
#include "tool/ResultFile.h"
#include "tool/Walk.h"

namespace fieldstore::tool {

using Json = nlohmann::ordered_json;

/// A number; JSON has none for infinities and not-a-number, which become text.
Json ToJson(double value);
double DoubleFromJson(const Json& json);

/// A value as JSON: pairs become objects whose names are the labels, maps arrays of such objects,
/// complex numbers [real, imaginary]. Requires: a label for every part, as Field::parts has.
template <typename T>
Json ToJson(const T& value, const Label* labels) {
    if constexpr (IsPair<T>::value) {
        Json object = Json::object();
        ForLeaves(value, [&](const auto& part, std::size_t i) {
            // Pairs inside the part have the labels behind those of this one.
            const auto* inner = kIsContainer<std::decay_t<decltype(part)>> && !labels[i].isId
                                    ? labels + kLeaves<T>
                                    : labels + i;
            object[std::string(labels[i].name)] = ToJson(part, inner);
        });
        return object;
    } else if constexpr (kIsContainer<T>) {
        Json array = Json::array();
        for (const auto& element : value) array.push_back(ToJson(element, labels));
        return array;
    } else if constexpr (kIsComplex<T>) {
        return Json::array({ToJson(value.real()), ToJson(value.imag())});
    } else if constexpr (std::is_floating_point_v<T>) {
        return ToJson(value);
    } else {
        if (labels->isId) return static_cast<std::make_unsigned_t<T>>(value);
        return value;
    }
}

/// Integer of the type, or an error instead of a wrapped one.
template <typename T>
T IntegerFromJson(const Json& json) {
    if (!json.is_number_integer()) throw Error("", "an integer is wanted, not " + json.dump(), "");
    const bool fits =
        json.is_number_unsigned()
            ? json.get<std::uint64_t>() <= static_cast<std::uint64_t>(std::numeric_limits<T>::max())
            : json.get<std::int64_t>() >=
                      static_cast<std::int64_t>(std::numeric_limits<T>::min()) &&
                  (sizeof(T) == sizeof(std::int64_t) ||
                   json.get<std::int64_t>() <=
                       static_cast<std::int64_t>(std::numeric_limits<T>::max()));
    if (!fits) throw Error("", json.dump() + " is out of range", "");
    return json.get<T>();
}

/// The way back from ToJson(); raises for anything else. Requires: the same labels, and an empty
/// value.
template <typename T>
void FromJson(const Json& json, const Label* labels, T& value);

/// FromJson() of pairs.
template <typename T>
void PairFromJson(const Json& json, const Label* labels, T& value) {
    if (!json.is_object() || json.size() != kLeaves<T>)
        throw Error("", "an object of " + std::to_string(kLeaves<T>) + " members is wanted", "");
    ForLeaves(value, [&](auto& part, std::size_t i) {
        using Part = std::decay_t<decltype(part)>;
        const std::string name(labels[i].name);
        if (!json.contains(name)) throw Error("", "'" + name + "' is missing", "");
        const auto* inner =
            kIsContainer<Part> && !labels[i].isId ? labels + kLeaves<T> : labels + i;
        try {
            FromJson(json.at(name), inner, part);
        } catch (const Error& error) {
            throw Error(name, error, "");
        }
    });
}

/// Adds an element to a container.
template <typename T>
void AddFromJson(const Json& element, const Label* labels, T& container) {
    if constexpr (IsVector<T>::value) {
        FromJson(element, labels, container.emplace_back());
    } else if constexpr (IsSet<T>::value) {
        typename T::value_type read{};
        FromJson(element, labels, read);
        if (!container.insert(read).second) throw Error("", element.dump() + " is there twice", "");
    } else {
        std::pair<typename T::key_type, typename T::mapped_type> read{};
        FromJson(element, labels, read);
        if (!container.insert(std::move(read)).second)
            throw Error("", "an entry has the key of another one", "");
    }
}

template <typename T>
void FromJson(const Json& json, const Label* labels, T& value) {
    if constexpr (IsPair<T>::value) {
        PairFromJson(json, labels, value);
    } else if constexpr (kIsContainer<T>) {
        if (!json.is_array()) throw Error("", "an array is wanted", "");
        for (const Json& element : json) AddFromJson(element, labels, value);
    } else if constexpr (kIsComplex<T>) {
        if (!json.is_array() || json.size() != 2)
            throw Error("", "[real, imaginary] is wanted, not " + json.dump(), "");
        value = {DoubleFromJson(json[0]), DoubleFromJson(json[1])};
    } else if constexpr (std::is_floating_point_v<T>) {
        value = DoubleFromJson(json);
    } else {
        using Read = std::make_unsigned_t<T>;
        value =
            labels->isId ? static_cast<T>(IntegerFromJson<Read>(json)) : IntegerFromJson<T>(json);
    }
}

/// The text of an answer for programs, in plain characters, which a terminal only shows. What is no
/// UTF-8, as file names may be, becomes U+FFFD.
std::string ReportText(const Json& report);

/// Writes a file's bodies as one JSON document, an entry of a field to a line, a body at a time.
/// Requires: a file that is not unreadable.
void DumpJson(const ResultFile& file, std::ostream& out);
/// Writes one body as the only one of a file.
void DumpJson(const ResultFile& file, const AnyBody& body, std::ostream& out);

/// The head of such a document.
struct JsonHead {
    std::size_t kind;
    bool text;
    std::optional<std::string> version;
};
/// Reads a document: `begin` gets its head, then `take` every body. Raises what is wrong with it.
/// A member of the head that stands behind the bodies makes it start over, from a second `begin`
/// on, where the document can be read again. Requires: a `begin` that drops what was taken.
void BuildFromJson(std::istream& document, const std::function<void(const JsonHead&)>& begin,
                   const std::function<void(const AnyBody&)>& take);

}  // namespace fieldstore::tool

#endif
