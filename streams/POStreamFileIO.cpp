// SPDX-License-Identifier: Apache-2.0
#include "streams/POStreamFileIO.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

#include "streams/ContainerEncoding.h"
#include "streams/FileBuffers.h"
#include "streams/FileExists.h"
#include "streams/Platform.h"
#include "streams/RetryPause.h"
#include "streams/StreamMessages.h"

using namespace fieldstore;

namespace {

constexpr int kOpenAttempts = 200;
constexpr std::chrono::seconds kOpenPause{2};

std::ios::openmode BinaryFlag(bool textMode) {
    return textMode ? std::ios::openmode{} : std::ios::binary;
}

std::shared_ptr<std::ifstream> MakeInputFile() {
    try {
        return std::make_shared<InputFile>();
    } catch (const std::bad_alloc&) {
        throw std::runtime_error(messages::kInputNotOpened);
    }
}

}  // namespace

POStreamFileIO::POStreamFileIO(bool inTextMode, const std::string& fileName,
                               OutputCloser closeCallback)
    : POStreamIO(inTextMode, fileName, std::move(closeCallback)) {}

POStreamFileIO::POStreamFileIO(bool inTextMode, const std::string& fileName,
                               InputPreparer readCallback)
    : POStreamIO(inTextMode, fileName, std::move(readCallback)) {
    CloseCallback = &POStreamFileIO::CloseOutputFile;
}

void POStreamFileIO::CloseOutputFile(const std::string&, std::ostream* stream) {
    auto* file = dynamic_cast<std::ofstream*>(stream);  // a placeholder is not a file
    if (file != nullptr && file->is_open()) file->close();
}

void POStreamFileIO::Open(EDirection direction, int mode) {
    if (direction == eRead) OpenForReading();
    if (direction == eWrite) OpenForWriting(mode == 1);
}

void POStreamFileIO::OpenForReading() {
    ReadCallback(identifier);
    auto file = MakeInputFile();
    platform::OpenShared(*file, identifier, std::ios::in | BinaryFlag(IsTextMode()));
    // Some systems open a directory and fail only when it is read.
    std::error_code ignored;
    if (std::filesystem::is_directory(identifier, ignored)) file->setstate(std::ios::failbit);
    const auto length = std::filesystem::file_size(identifier, ignored);
    SetInput(std::move(file), ignored ? 0 : length);
}

/// Returns whether there is a place; `replacement` is empty when it is the file itself.
bool POStreamFileIO::ChoosePlaceToWrite(bool append) {
    replacement.clear();
    if (append || !replacesWhenClosed) return true;
    namespace fs = std::filesystem;
    std::error_code dangling;
    const bool isLink = fs::is_symlink(fs::symlink_status(identifier, dangling));
    replaced = isLink ? fs::canonical(identifier, dangling).string() : identifier;
    if (replaced.empty()) return true;
    auto beside = platform::CreateBeside(replaced);
    if (beside) replacement = std::move(*beside);
    return beside.has_value();
}

POStreamFileIO::FileBefore POStreamFileIO::LookBefore(bool append) const {
    std::error_code error;
    const auto type = std::filesystem::status(identifier, error).type();
    if (type == std::filesystem::file_type::not_found) return {false, 0};
    // Nothing is appended to a file that could not be cut back to what it was.
    if (append && type == std::filesystem::file_type::none)
        throw std::filesystem::filesystem_error("status", identifier, error);
    if (!append || type != std::filesystem::file_type::regular) return {};
    return {true, static_cast<std::int64_t>(std::filesystem::file_size(identifier))};
}

void POStreamFileIO::OpenForWriting(bool append) {
    before = {};  // until the file is open there is nothing to go back to
    const FileBefore found = LookBefore(append);
    const auto mode =
        std::ios::out | BinaryFlag(IsTextMode()) | (append ? std::ios::app : std::ios::openmode{});
    for (int attempt = 1;; ++attempt) {
        auto file = std::make_shared<OutputFile>();
        if (ChoosePlaceToWrite(append))
            platform::OpenShared(*file, replacement.empty() ? identifier : replacement, mode);
        SetOutput(file);
        if (file->is_open()) break;
        RemoveReplacement();
        if (attempt == kOpenAttempts) throw std::runtime_error(messages::kOutputNotOpened);
        Pause(kOpenPause);
    }
    // From here on a failing write raises at once, not at the check of the next one.
    Output()->exceptions(std::ios::badbit | std::ios::failbit | std::ios::eofbit);
    before = found;
    if (append) Output()->seekp(0, std::ios::end);
}

void POStreamFileIO::Close() {
    class ReleaseSide {
    public:
        explicit ReleaseSide(POStreamFileIO& owner) : stream(owner) {}
        ~ReleaseSide() { stream.POStreamIO::Close(); }
        ReleaseSide(const ReleaseSide&) = delete;
        ReleaseSide& operator=(const ReleaseSide&) = delete;

    private:
        POStreamFileIO& stream;
    };
    const ReleaseSide releaseWhateverHappens(*this);

    if (IsWriting()) {
        CloseCallback(identifier, Output().get());
        PutReplacementInPlace();
    }
    if (auto* file = dynamic_cast<std::ifstream*>(Input().get()); file && file->is_open())
        file->close();
}

void POStreamFileIO::PutReplacementInPlace() {
    if (replacement.empty()) return;
    std::filesystem::rename(replacement, replaced);
    replacement.clear();
}

bool POStreamFileIO::RemoveReplacement() noexcept {
    if (replacement.empty()) return true;
    const bool removed = std::remove(replacement.c_str()) == 0;
    replacement.clear();
    return removed;
}

bool POStreamFileIO::AbandonOutput() noexcept {
    try {
        if (Output()) {
            Output()->exceptions(std::ios::goodbit);
            CloseOutputFile(identifier, Output().get());
            SetOutput(nullptr);
        }
        return replacement.empty() ? RestoreFile() : RemoveReplacement();
    } catch (const std::exception&) {
        return false;  // the commit has failed already and says why
    }
}

bool POStreamFileIO::RestoreFile() const {
    std::error_code error;
    if (!before.existed) {
        std::filesystem::remove(identifier, error);
        if (!error) return true;
    }
    if (before.length == FileBefore::kNotRestorable) return false;
    const auto length = static_cast<std::uintmax_t>(before.length);
    if (std::filesystem::file_size(identifier, error) > length && !error)
        std::filesystem::resize_file(identifier, length, error);
    return !error;
}

bool POStreamFileIO::TryDestroy() const {
    try {
        if (identifier.empty()) throw std::runtime_error(messages::kNoIdentifier);
        return !FileExists(identifier) || RemoveFile(identifier);
    } catch (const std::exception&) {
        return false;  // counts as a failed attempt
    }
}

void POStreamFileIO::Destroy() {
    for (int attempt = 0; attempt < retryCount; ++attempt) {
        if (TryDestroy()) return;
        Pause(PauseFromSeconds(retryInterval));
    }
    if (Exists()) throw std::runtime_error(messages::kNotDestroyed);
}

bool POStreamFileIO::Exists() {
    return FileExists(identifier);
}

// Neither positioning makes the read check: both work at the end of the input.
void POStreamFileIO::Seek(std::uint64_t position) {
    const std::streampos target(static_cast<std::streamoff>(position));
    if (Input() && Input()->rdbuf())
        Input()->seekg(target);
    else if (Output() && Output()->rdbuf())
        Output()->seekp(target);
    else
        throw std::runtime_error(messages::kNoStreamOpen);
}

std::uint64_t POStreamFileIO::Tell() {
    const auto offset = [](std::streambuf& buffer, std::ios::openmode side) {
        return static_cast<std::uint64_t>(
            static_cast<std::streamoff>(buffer.pubseekoff(0, std::ios::cur, side)));
    };
    if (Input() && Input()->rdbuf()) return offset(*Input()->rdbuf(), std::ios::in);
    if (Output() && Output()->rdbuf()) return offset(*Output()->rdbuf(), std::ios::out);
    throw std::runtime_error(messages::kNoStreamOpen);
}

#define FIELDSTORE_STREAM_CLASS POStreamFileIO
FIELDSTORE_CONTAINER_TYPES(FIELDSTORE_DEFINE_SEQUENCE, FIELDSTORE_DEFINE_PAIR)
#undef FIELDSTORE_STREAM_CLASS
