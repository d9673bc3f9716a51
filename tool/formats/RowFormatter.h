// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_FORMATS_ROW_FORMATTER_H
#define FIELDSTORE_TOOL_FORMATS_ROW_FORMATTER_H

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <deque>
#include <functional>
#include <future>
#include <ostream>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "tool/ShortestText.h"

namespace fieldstore::tool {

/// Text that grows by numbers.
class RowText {
public:
    void Put(std::string_view words) {
        MakeRoom(words.size());
        words.copy(text.data() + size, words.size());
        size += words.size();
    }
    void Put(char character) {
        MakeRoom(1);
        text[size++] = character;
    }
    /// Of a double the shortest text that reads back as the same.
    template <typename T, typename = std::enable_if_t<std::is_arithmetic_v<T>>>
    void Put(T number) {
        MakeRoom(kShortestTextCapacity);
        char* const out = text.data() + size;
        char* end = out;
        if constexpr (std::is_same_v<T, double>)
            end = FormatShortest(out, number);
        else
            end = std::to_chars(out, out + kShortestTextCapacity, number).ptr;
        size += static_cast<std::size_t>(end - out);
    }
    /// Values with commas between them.
    template <typename First, typename... Rest>
    void PutCells(const First& first, const Rest&... rest) {
        Put(first);
        ((Put(','), Put(rest)), ...);
    }
    /// The same as a line.
    template <typename... Values>
    void PutRow(const Values&... values) {
        PutCells(values...);
        Put('\n');
    }
    std::string_view Text() const { return {text.data(), size}; }
    void Clear() { size = 0; }

private:
    void MakeRoom(std::size_t more) {
        if (text.size() - size < more) text.resize(2 * text.size() + more);
    }

    std::string text;  // its end is room
    std::size_t size = 0;
};

/// Makes text of items, pairs of a key and a value, on every core, and writes it in their order.
/// Numbers as text are what takes the time of an export.
template <typename Item>
class RowFormatter {
public:
    using Format = std::function<void(const Item& item, RowText& text)>;

    /// `format` is called by several threads.
    RowFormatter(std::ostream& stream, Format format)
        : out(stream), formatItem(std::move(format)) {}

    /// `numbers` is about how many the value has.
    void Add(const typename Item::first_type& key, const typename Item::second_type& value,
             std::size_t numbers) {
        // Batches come back when they are written, and keep the memory that they have.
        if (filling.used == filling.items.size()) filling.items.emplace_back();
        Item& item = filling.items[filling.used++];
        item.first = key;
        item.second = value;
        weight += numbers;
        if (weight >= kNumbersAtOnce) Start();
    }
    void Finish() {
        Start();
        while (!running.empty()) WriteOldest();
    }

private:
    static constexpr std::size_t kNumbersAtOnce = std::size_t{1} << 15;

    struct Batch {
        std::vector<Item> items;
        std::size_t used = 0;
        RowText text;
    };

    void Start() {
        if (filling.used == 0) return;
        const std::size_t most = std::max(1U, std::thread::hardware_concurrency());
        while (running.size() >= most) WriteOldest();
        running.push_back(
            std::async(std::launch::async, [batch = std::move(filling), this]() mutable {
                for (std::size_t i = 0; i < batch.used; ++i) formatItem(batch.items[i], batch.text);
                return std::move(batch);
            }));
        filling = {};
        if (!spare.empty()) {
            filling = std::move(spare.back());
            spare.pop_back();
        }
        weight = 0;
    }
    void WriteOldest() {
        Batch batch = running.front().get();
        running.pop_front();
        const std::string_view text = batch.text.Text();
        out.write(text.data(), static_cast<std::streamsize>(text.size()));
        batch.text.Clear();
        batch.used = 0;
        spare.push_back(std::move(batch));
    }

    std::ostream& out;
    const Format formatItem;
    Batch filling;
    std::size_t weight = 0;
    std::deque<std::future<Batch>> running;
    std::vector<Batch> spare;
};

}  // namespace fieldstore::tool

#endif
