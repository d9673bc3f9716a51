// SPDX-License-Identifier: Apache-2.0
#include "tool/formats/BodiesBuilder.h"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <variant>

#include "objects/DOFBlock.h"
#include "objects/Field.h"
#include "tool/Error.h"

namespace fieldstore::tool {
namespace {

void RequireBlocksFit(const BlockedDOFListBody& body) {
    int expected = 0;
    for (const auto& [number, block] : body.blocks) {
        if (number != expected++) throw Error("", "blocks are numbered 0, 1, 2 ...", "");
        const auto arrays = BlockedDOFListBody::Arrays(block);
        const auto records = Records(*arrays[1], body.width2);
        for (std::size_t k = 0; k < arrays.size(); ++k) {
            const auto width = static_cast<std::uint64_t>(std::max(body.Widths()[k], 0));
            const auto count = k == 4 ? records : Records(*arrays[k], body.Widths()[k]);
            if (arrays[k]->size() != count * width)
                throw Error("", "block " + std::to_string(number) + " does not fit the widths", "");
        }
    }
    if (expected < 1 || expected > DOFBlock::kMostBlocks) throw Error("", "1 to 100000 blocks", "");
}

/// Visitor that finds the field of a name.
struct FieldFinder {
    const std::string& name;
    FieldInput input;

    template <typename T>
    void operator()(const Field& field, T& value) {
        if (field.name != name) return;
        // A copy: fields live during the visit alone.
        input.whole = [field, &value](const Json& json) {
            FromJson(json, field.parts.data(), value);
        };
        if constexpr (kIsContainer<T>)
            input.element = [field, &value](const Json& json) {
                AddFromJson(json, field.parts.data(), value);
            };
    }
};

/// Visitor that raises for a field without JSON.
struct RequireFields {
    const std::set<std::string>& given;
    template <typename T>
    void operator()(const Field& field, const T& /*value*/) {
        if (given.count(std::string(field.name)) == 0)
            throw Error("", "'" + std::string(field.name) + "' is missing", "");
    }
};

}  // namespace

void BodiesBuilder::BeginBody() {
    if (count != 0 && !kind.Appends()) throw Error("", "a file of this class has one body", "");
    body = kind.make();
    given.clear();
}

void BodiesBuilder::BeginField(const std::string& fieldName) {
    name = fieldName;
    FieldFinder finder{name, {}};
    std::visit([&](auto& fields) { fields.Visit(fields, finder); }, body);
    InBody([&] {
        if (!finder.input.whole)
            throw Error("", "no field of this class has the name '" + name + "'", "");
        if (!given.insert(name).second) throw Error("", "'" + name + "' is there twice", "");
    });
    field = std::move(finder.input);
}

void BodiesBuilder::SetField(const Json& value) {
    InField([&] { field.whole(value); });
}

void BodiesBuilder::AddElement(const Json& element) {
    InField([&] { field.element(element); });
}

void BodiesBuilder::EndBody() {
    InBody([&] {
        RequireFields require{given};
        std::visit([&](const auto& fields) { fields.Visit(fields, require); }, body);
        if (const auto* blocked = std::get_if<BlockedDOFListBody>(&body))
            RequireBlocksFit(*blocked);
    });
    take(body);
    ++count;
}

void BodiesBuilder::RefuseBody() const {
    InBody([] { throw Error("", "a body is an object", ""); });
}

void BodiesBuilder::End() const {
    if (count == 0 && !kind.Appends())
        throw Error("", "a file of this class has one body, not 0", "");
}

void BodiesBuilder::InBody(const std::function<void()>& action) const {
    try {
        action();
    } catch (const Error& error) {
        throw Error("bodies[" + std::to_string(count) + "]", error, "");
    }
}

void BodiesBuilder::InField(const std::function<void()>& action) const {
    InBody([&] {
        try {
            action();
        } catch (const Error& error) {
            throw Error(name, error, "");
        }
    });
}

}  // namespace fieldstore::tool
