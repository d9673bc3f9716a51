// SPDX-License-Identifier: Apache-2.0
#include "tool/SliceOptions.h"

#include <array>

namespace fieldstore::tool {
namespace {

struct SliceOption {
    const char* part;
    const char* placeholder;
    const char* text;
};
constexpr std::array kOptions{
    SliceOption{"frequency", "RANGE", "Only this frequency, as 10GHz, or these, as 8GHz:12GHz"},
    SliceOption{"port", "RANGE", "Only this port, or these, as 1:4"},
    SliceOption{"type", "RANGE", "Only this type of matrices or of metrics"},
    SliceOption{"index", "RANGE", "Only this index of metrics, such as a pass"},
    SliceOption{"entity", "RANGE", "Only this entity of metrics"},
    SliceOption{"block", "RANGE", "Only this block of a DOF list"},
};

}  // namespace

void DescribeSlice(CommandLine& command, SliceWords& words, std::string_view except) {
    for (const SliceOption& option : kOptions) {
        if (option.part == except) continue;
        command.Value("--" + std::string(option.part), words[option.part], option.text)
            .Shows(option.placeholder);
    }
}

Slice ParseSlice(const SliceWords& words) {
    Slice slice;
    for (const auto& [part, text] : words) {
        if (text.empty()) continue;
        slice.Ask(part, part == "frequency" ? ParseFrequencies("--" + part, text)
                                            : ParseRange("--" + part, text));
    }
    return slice;
}

}  // namespace fieldstore::tool
