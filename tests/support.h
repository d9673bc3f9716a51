// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TESTS_SUPPORT_H
#define FIELDSTORE_TESTS_SUPPORT_H

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include "streams/POStreamIO.h"
#include "streams/RetryPause.h"

namespace support {

/// A directory of its own for one test, removed at its end.
class TempDirectory {
public:
    TempDirectory() {
        const auto parent = std::filesystem::temp_directory_path();
        std::random_device chance;
        std::filesystem::path name;
        do {
            name = parent / ("fieldstore-" + std::to_string(chance()));
        } while (!std::filesystem::create_directory(name));  // until one is free
        path = name.generic_string() + "/";
    }
    ~TempDirectory() { std::filesystem::remove_all(path); }
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;

    std::string operator/(const std::string& name) const { return path + name; }
    const std::string& Path() const { return path; }

private:
    std::string path;
};

/// Bytes put together by hand, little-endian.
class Bytes {
public:
    Bytes& I32(std::int32_t value) { return Raw(value); }
    Bytes& I64(std::int64_t value) { return Raw(value); }
    Bytes& F64(double value) { return Raw(value); }
    Bytes& Text(const std::string& text) {
        data += text;
        return *this;
    }
    Bytes& Zeros(std::size_t count) {
        data.append(count, '\0');
        return *this;
    }
    operator std::string() const { return data; }

private:
    template <typename T>
    Bytes& Raw(T value) {
        char bytes[sizeof value];
        std::memcpy(bytes, &value, sizeof value);
        data.append(bytes, sizeof value);
        return *this;
    }
    std::string data;
};

inline std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

/// A text as it lies in a file that was written in text mode.
inline std::string InTextFile(const std::string& text) {
#ifdef _WIN32
    std::string written;
    for (const char c : text) written += c == '\n' ? std::string("\r\n") : std::string(1, c);
    return written;
#else
    return text;
#endif
}

/// Makes a link; false where the system refuses, as Windows does without a privilege.
inline bool MadeLink(const std::string& target, const std::string& link) {
    std::error_code refused;
    std::filesystem::create_symlink(target, link, refused);
    return !refused;
}

inline void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

/// The text of the std::exception that `action` raises; "" when it raises none.
template <typename Action>
std::string Raised(Action action) {
    try {
        action();
        return "";
    } catch (const std::exception& error) {
        return error.what();
    }
}

/// Counts the pauses between attempts instead of waiting, for the life of the object.
class CountedPauses {
public:
    CountedPauses() : previous(fieldstore::SetPauseFunction(&Count)) {
        count = 0;
        total = 0;
    }
    ~CountedPauses() { fieldstore::SetPauseFunction(previous); }
    CountedPauses(const CountedPauses&) = delete;
    CountedPauses& operator=(const CountedPauses&) = delete;

    static int Number() { return count; }
    static std::int64_t Microseconds() { return total; }

private:
    static void Count(std::chrono::microseconds duration) {
        ++count;
        total += duration.count();
    }
    static inline std::atomic<int> count{0};
    static inline std::atomic<std::int64_t> total{0};
    fieldstore::PauseFunction previous;
};

/// A typed stream over memory.
class MemoryStream : public POStreamIO {
public:
    explicit MemoryStream(bool inTextMode)
        : POStreamIO(inTextMode, "memory", InputPreparer([](const std::string&) {})) {
        Close();
    }

    void Open(EDirection direction, int) override {
        if (direction == eRead)
            SetInput(std::make_shared<std::istringstream>(content));
        else
            SetOutput(written = std::make_shared<std::ostringstream>());
    }
    void Destroy() override { content.clear(); }
    using POStreamIO::Seek;
    void Seek(std::uint64_t position) override {
        Input()->seekg(static_cast<std::streamoff>(position));
    }
    bool Exists() override { return true; }
    std::uint64_t Tell() override { return 0; }

    /// Writes through `write` and returns the bytes.
    template <typename Writer>
    std::string Written(Writer write) {
        OpenOutput(0);
        write(*this);
        content = written->str();
        Close();
        return content;
    }
    void OpenContent(const std::string& bytes) {
        content = bytes;
        OpenInput();
    }
    std::string Unread() {
        Input()->clear();
        return {std::istreambuf_iterator<char>(Input()->rdbuf()), {}};
    }
    std::ios::iostate State() const { return Input()->rdstate(); }

private:
    std::string content;
    std::shared_ptr<std::ostringstream> written;
};

}  // namespace support

#endif
