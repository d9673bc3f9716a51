// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_FORMATS_BODIESBUILDER_H
#define FIELDSTORE_TOOL_FORMATS_BODIESBUILDER_H

#include <cstddef>
#include <functional>
#include <set>
#include <string>

#include "tool/Bodies.h"
#include "tool/Catalog.h"
#include "tool/formats/Json.h"

namespace fieldstore::tool {

/// Where the JSON of a field goes.
struct FieldInput {
    std::function<void(const Json& value)> whole;
    std::function<void(const Json& element)> element;  // of its array, if it is one
};

/// Puts the bodies of a document together from their parts, in the order of the document.
class BodiesBuilder {
public:
    BodiesBuilder(std::size_t kindNumber, const std::function<void(const AnyBody&)>& takeBody)
        : kind(Kinds()[kindNumber]), take(takeBody) {}

    void BeginBody();
    void BeginField(const std::string& fieldName);
    void SetField(const Json& value);
    bool TakesElements() const { return static_cast<bool>(field.element); }
    void AddElement(const Json& element);
    void EndBody();
    void RefuseBody() const;
    void End() const;

private:
    /// Runs the action, and puts the place into the text of an error.
    void InBody(const std::function<void()>& action) const;
    void InField(const std::function<void()>& action) const;

    const Kind& kind;
    const std::function<void(const AnyBody&)>& take;
    std::size_t count = 0;
    AnyBody body;
    std::set<std::string> given;
    std::string name;
    FieldInput field;
};

}  // namespace fieldstore::tool

#endif
