// SPDX-License-Identifier: Apache-2.0
#include <numeric>

#include "tool/Error.h"
#include "tool/Walk.h"
#include "tool/formats/Tables.h"

namespace fieldstore::tool {
namespace {

template <typename T>
const char* TypeName() {
    if constexpr (kIsComplex<T>) return "<c16";
    if constexpr (std::is_same_v<T, double>) return "<f8";
    if constexpr (std::is_same_v<T, std::uint64_t>) return "<u8";
    if constexpr (std::is_same_v<T, std::int64_t>) return "<i8";
    if constexpr (std::is_same_v<T, std::uint32_t>) return "<u4";
    if constexpr (std::is_same_v<T, int>) return "<i4";
}

/// An array file of version 1.0: magic, length of the header, header, the values as they are.
template <typename T>
void PutArray(std::ostream& out, const std::vector<T>& values) {
    constexpr std::size_t front = 10, unit = 64;
    std::string header = std::string("{'descr': '") + TypeName<T>() +
                         "', 'fortran_order': False, 'shape': (" + std::to_string(values.size()) +
                         ",), }";
    header.append(unit - (front + header.size() + 1) % unit, ' ');
    header += '\n';
    out << "\x93NUMPY\x01" << '\0' << static_cast<char>(header.size() & 0xffU)
        << static_cast<char>(header.size() >> 8U) << header;
    out.write(reinterpret_cast<const char*>(values.data()),
              static_cast<std::streamsize>(values.size() * sizeof(T)));
}

/// Visitor that takes a field apart into one array per part of its entries. A part that is itself
/// a container gives the array of all its elements, and one of where each entry's begin.
class ArrayDumper {
public:
    explicit ArrayDumper(const FileSet& set) : files(set) {}

    template <typename T>
    void operator()(const Field& field, const T& value) {
        const std::string name(field.name);
        if constexpr (!kIsContainer<T>)
            PutValues(name, field.parts.front(), std::vector<T>{value});
        else
            PutContainers(name, field.parts.data(), std::vector<const T*>{&value}, false);
    }

private:
    template <typename T>
    void Write(const std::string& name, const std::vector<T>& values) const {
        files.Write(name + ".npy", [&](std::ostream& out) { PutArray(out, values); });
    }

    /// Several containers of one type, laid end to end.
    template <typename T>
    void PutContainers(const std::string& name, const Label* labels,
                       const std::vector<const T*>& containers, bool nested) const {
        using Element = typename T::value_type;
        if (nested) {
            std::vector<std::uint64_t> begins{0};
            for (const T* container : containers)
                begins.push_back(begins.back() + container->size());
            Write(name + ".begin", begins);
        }
        std::vector<const Element*> elements;
        if constexpr (std::is_arithmetic_v<Element> || kIsComplex<Element>) {
            std::vector<Element> values;
            for (const T* container : containers)
                values.insert(values.end(), container->begin(), container->end());
            PutValues(name, *labels, values);
        } else {
            for (const T* container : containers)
                for (const Element& element : *container) elements.push_back(&element);
            PutElements(name, labels, elements);
        }
    }

    template <typename Element>
    void PutElements(const std::string& name, const Label* labels,
                     const std::vector<const Element*>& elements) const {
        if constexpr (IsPair<Element>::value)
            PutLeaves<Element>(name, labels, elements, [](const Element* e) { return e; });
        else
            PutContainers(name, labels, elements, true);
    }

    /// The parts of nested pairs; `get` leads from an element to the pair at hand.
    template <typename Pair, typename Element, typename Get>
    void PutLeaves(const std::string& name, const Label* labels,
                   const std::vector<const Element*>& elements, const Get& get,
                   std::size_t number = 0) const {
        using First = std::remove_const_t<typename Pair::first_type>;
        PutLeaf<First>(
            name, labels, elements, [&](const Element* e) { return &get(e)->first; }, number);
        PutLeaf<typename Pair::second_type>(
            name, labels, elements, [&](const Element* e) { return &get(e)->second; },
            number + kLeaves<First>);
    }

    template <typename Leaf, typename Element, typename Get>
    void PutLeaf(const std::string& name, const Label* labels,
                 const std::vector<const Element*>& elements, const Get& get,
                 std::size_t number) const {
        if constexpr (IsPair<Leaf>::value) {
            PutLeaves<Leaf>(name, labels, elements, get, number);
        } else {
            const std::string part = name + "." + std::string(labels[number].name);
            if constexpr (kIsContainer<Leaf>) {
                std::vector<const Leaf*> leaves;
                leaves.reserve(elements.size());
                for (const Element* element : elements) leaves.push_back(get(element));
                const auto* inner = labels[number].isId ? labels + number : labels + number + 1;
                PutContainers(part, inner, leaves, true);
            } else {
                std::vector<Leaf> leaves;
                leaves.reserve(elements.size());
                for (const Element* element : elements) leaves.push_back(*get(element));
                PutValues(part, labels[number], leaves);
            }
        }
    }

    template <typename T>
    void PutValues(const std::string& name, const Label& label,
                   const std::vector<T>& values) const {
        if constexpr (std::is_same_v<T, int>)
            if (label.isId)
                return Write(name, std::vector<std::uint32_t>(values.begin(), values.end()));
        Write(name, values);
    }

    const FileSet& files;
};

}  // namespace

void DumpNpy(const AnyBody& any, const FileSet& files) {
    ArrayDumper dumper(files);
    std::visit([&dumper](const auto& body) { body.Visit(body, dumper); }, any);
}

}  // namespace fieldstore::tool
