// SPDX-License-Identifier: Apache-2.0
#include "streams/FileAttributes.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string_view>

#ifdef __linux__
#include <sys/xattr.h>
#include <string>
#include <vector>

#include "streams/SystemFile.h"
#endif

namespace fieldstore::platform {
namespace {

using Lost = std::vector<std::string>;

void Note(Lost& lost, const std::string& what) {
    lost.push_back("its " + what + " could not be kept: " + std::strerror(errno));
}

#ifdef __linux__

// The access list, which the system shows as an extended attribute.
constexpr const char* kAccessList = "system.posix_acl_access";
constexpr std::size_t kMostBytes = std::size_t{64} << 10;  // of a list or a value, on Linux

std::vector<std::string> AttributeNames(const std::string& path, Lost& lost) {
    std::string list(kMostBytes, '\0');
    const ssize_t length = listxattr(path.c_str(), list.data(), list.size());
    if (length < 0 && errno != ENOTSUP) Note(lost, "extended attributes");
    list.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    std::vector<std::string> names;
    for (std::string_view rest(list); !rest.empty(); rest.remove_prefix(names.back().size() + 1))
        names.emplace_back(rest.substr(0, rest.find('\0')));
    return names;
}

/// Has `get` read a value into a buffer; nothing when it fails.
template <typename Get>
std::optional<std::string> AttributeValue(const Get& get) {
    std::string value(kMostBytes, '\0');
    const ssize_t length = get(value.data(), value.size());
    if (length < 0) return std::nullopt;
    value.resize(static_cast<std::size_t>(length));
    return value;
}

bool TakeAttribute(const std::string& from, const std::string& name, int to) {
    const auto wanted = AttributeValue([&](char* value, std::size_t size) {
        return getxattr(from.c_str(), name.c_str(), value, size);
    });
    if (!wanted) return false;
    const auto present = AttributeValue(
        [&](char* value, std::size_t size) { return fgetxattr(to, name.c_str(), value, size); });
    return present == wanted || fsetxattr(to, name.c_str(), wanted->data(), wanted->size(), 0) == 0;
}

/// Returns whether the access list is as it was.
bool TakeExtendedAttributes(const std::string& from, int to, Lost& lost) {
    const std::size_t lostBefore = lost.size();
    const auto names = AttributeNames(from, lost);
    bool listKept = lost.size() == lostBefore, hasList = false;
    for (const auto& name : names) {
        if (name == "security.ima" || name == "security.evm") continue;  // sums of the content
        const bool isList = name == kAccessList;
        hasList = hasList || isList;
        if (TakeAttribute(from, name, to)) continue;
        Note(lost, isList ? "access list" : "extended attribute " + name);
        listKept = listKept && !isList;
    }
    if (hasList) return listKept;
    // The directory may have given the new file one.
    if (fremovexattr(to, kAccessList) == 0 || errno == ENODATA || errno == ENOTSUP) return true;
    Note(lost, "lack of an access list");
    return false;
}

#else

bool TakeExtendedAttributes(const std::string&, int, Lost&) {
    return true;
}

#endif

}  // namespace

TakenAttributes TakeAttributes(const std::string& from, SystemFile to) {
    Lost lost;
    struct stat wanted {
    }, made{};
    if (stat(from.c_str(), &wanted) != 0 || fstat(to, &made) != 0) {
        Note(lost, "owner and permissions");
        return {false, lost};
    }
    constexpr auto sameOwner = static_cast<uid_t>(-1);
    constexpr auto sameGroup = static_cast<gid_t>(-1);
    const bool groupKept =
        wanted.st_gid == made.st_gid || fchown(to, sameOwner, wanted.st_gid) == 0;
    if (!groupKept) Note(lost, "group (" + std::to_string(wanted.st_gid) + ")");
    const bool ownerKept =
        wanted.st_uid == made.st_uid || fchown(to, wanted.st_uid, sameGroup) == 0;
    if (!ownerKept) Note(lost, "owner (" + std::to_string(wanted.st_uid) + ")");
    const bool listKept = TakeExtendedAttributes(from, to, lost);
    mode_t mode = wanted.st_mode & 07777U;
    constexpr mode_t asAnotherUser = S_ISUID | S_ISGID;
    if (!ownerKept || !groupKept) mode &= ~asAnotherUser;
    if (!groupKept || !listKept) mode &= ~static_cast<mode_t>(S_IRWXG) | (mode & S_IRWXO) << 3U;
    const bool modeKept = fchmod(to, mode) == 0;
    if (!modeKept) Note(lost, "permissions");
    return {ownerKept && groupKept && modeKept, lost};
}

}  // namespace fieldstore::platform
