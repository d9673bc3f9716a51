// SPDX-License-Identifier: Apache-2.0
#include "streams/InputArea.h"

#include "streams/StreamErrors.h"
#include "streams/StreamMessages.h"

namespace fieldstore {

std::shared_ptr<std::istream> InputArea::Checked() const {
    auto source = stream;
    if (!source || !source->good()) throw StreamStateError(messages::kBadStreamState);
    source->peek();
    if (source->eof()) throw StreamStateError(messages::kEndOfFile);
    return source;
}

void InputArea::SkipSlowly(std::uint64_t count) {
    if (count > Left()) throw StreamStateError(messages::kBadStreamState);
    const auto source = Checked();
    const std::uint64_t held = BufferArea::Readable(*buffer);
    const std::uint64_t rest = count - std::min(count, held);
    BufferArea::Consume(*buffer, static_cast<std::size_t>(count - rest));
    // A system call that moves costs about as much as reading so many bytes.
    constexpr std::uint64_t worthASeek = std::uint64_t{32} << 10;
    if (rest >= worthASeek)
        source->seekg(static_cast<std::streamoff>(rest), std::ios::cur);
    else
        source->ignore(static_cast<std::streamsize>(rest));
}

bool InputArea::HasMore() const {
    if (buffer == nullptr || !stream->good()) throw StreamStateError(messages::kBadStreamState);
    return stream->peek() != std::istream::traits_type::eof();
}

void InputArea::ReadRest(char* target, std::uint64_t count) {
    if (count == 0 || TakeBytes(target, MemorySize(count))) return;
    if (const auto source = stream) source->read(target, static_cast<std::streamsize>(count));
}

std::uint64_t InputArea::Left() const {
    if (buffer == nullptr) return 0;
    const std::streamoff here = buffer->pubseekoff(0, std::ios::cur, std::ios::in);
    if (here < 0 || static_cast<std::uint64_t>(here) >= length) return 0;
    return length - static_cast<std::uint64_t>(here);
}

void InputArea::SkipWhiteSpace() {
    if (buffer == nullptr) return;
    const auto isSpace = [](int c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    while (stream->good() && isSpace(stream->peek())) stream->get();
}

}  // namespace fieldstore
