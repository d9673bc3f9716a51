// SPDX-License-Identifier: Apache-2.0
#include "core/Failure.h"

#include <cstddef>
#include <filesystem>
#include <ios>
#include <stdexcept>

#include "core/ResultCode.h"
#include "streams/FileNames.h"
#include "streams/StreamErrors.h"

namespace fieldstore {
namespace {

constexpr const char* kOutOfMemory = "Out of memory";

/// An error's own text, without its number, its full stop or semicolon.
std::string CauseOf(const std::string& text) {
    const std::string number = "Error 1: ";
    const std::size_t begin = text.rfind(number, 0) == 0 ? number.size() : 0;
    return text.substr(begin, text.find_last_not_of(".;") + 1 - begin);
}

std::string InBrackets(const std::error_code& reason) {
    return reason ? " (" + reason.message() + ")" : "";
}

std::string CauseIn(const std::exception_ptr& error, const std::string& path,
                    const std::error_code& systemError) {
    try {
        std::rethrow_exception(error);
    } catch (const FileError& failure) {
        const auto& other = failure.Path();
        return CauseOf(failure.what()) + (other == path ? "" : ", " + other) +
               InBrackets(failure.Reason());
    } catch (const std::ios_base::failure&) {
        return "The system did not take all of it" + InBrackets(systemError);
    } catch (const std::filesystem::filesystem_error& failure) {
        return platform::NameOf(failure.path1()) + InBrackets(failure.code());
    } catch (const std::bad_alloc&) {
        return kOutOfMemory;
    } catch (const std::length_error&) {
        return kOutOfMemory;  // of a container; its own text names a function of the library
    } catch (const std::exception& failure) {
        return CauseOf(failure.what()) + InBrackets(systemError);
    } catch (...) {
        return "Unknown error";
    }
}

}  // namespace

int ResultOf(const std::exception_ptr& error) noexcept {
    try {
        std::rethrow_exception(error);
    } catch (const InputNotOpened&) {
        return kInputNotFound;
    } catch (...) {
        return kFailure;
    }
}

std::string SentenceOf(const std::exception_ptr& error, const char* doing, const std::string& path,
                       const std::error_code& systemError) {
    return std::string(doing) + " " + path + ": " + CauseIn(error, path, systemError) + ".";
}

}  // namespace fieldstore
