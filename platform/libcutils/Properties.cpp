// SPDX-License-Identifier: Apache-2.0
#include <cutils/properties.h>

#include <ctype.h>
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <inttypes.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <string_view>

namespace {

// One file per property, named after it, holding the bare value.
constexpr std::string_view kFolder = "/dev/__properties__/";
// The dot in front keeps unfinished files apart from every legal name.
constexpr std::string_view kTemporary = "/dev/__properties__/.set-XXXXXX";
// What this interface gives for a longer value of an "ro." name.
constexpr char kTooLongToRead[] = "Must use __system_property_read_callback() to read";
constexpr size_t kMaxBytes = 4096;

bool isLegalName(const char* key) {
    if (key == nullptr) return false;
    const std::string_view name = key;
    if (name.empty() || name.front() == '.' || name.back() == '.') return false;
    if (name.find("..") != std::string_view::npos) return false;
    return std::all_of(name.begin(), name.end(), [](unsigned char c) {
        return (isascii(c) && isalnum(c)) || strchr(".-_@:", c) != nullptr;
    });
}

bool isWriteOnce(std::string_view name) {
    return name.starts_with("ro.");
}

std::string pathOf(std::string_view name) {
    return std::string(kFolder).append(name);
}

/** The value of a property; empty when it is unset or cannot be read. */
std::string readValue(const char* key) {
    if (!isLegalName(key)) return {};
    const int fd = open(pathOf(key).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (fd < 0) return {};
    std::string value(kMaxBytes, '\0');
    const ssize_t size = TEMP_FAILURE_RETRY(read(fd, value.data(), value.size()));
    close(fd);
    value.resize(static_cast<size_t>(std::max<ssize_t>(size, 0)));
    return value;
}

/** Puts a file with the value into the place of that name, whole or not at all. */
bool publish(std::string_view name, std::string_view value) {
    std::string fresh(kTemporary);
    const int fd = mkostemp(fresh.data(), O_CLOEXEC);
    if (fd < 0) return false;
    const auto size = static_cast<ssize_t>(value.size());
    const std::string path = pathOf(name);
    // link() never replaces: of several processes that set an "ro." property, one succeeds.
    const bool done = fchmod(fd, 0644) == 0 &&
                      TEMP_FAILURE_RETRY(write(fd, value.data(), value.size())) == size &&
                      (isWriteOnce(name) ? link : rename)(fresh.c_str(), path.c_str()) == 0;
    const int error = errno;
    close(fd);
    unlink(fresh.c_str());
    errno = error;
    return done;
}

}  // namespace

int property_get(const char* key, char* value, const char* default_value) {
    std::string text = readValue(key);
    // A file may hold a zero byte only if something else wrote it; a C string ends there.
    text.resize(strlen(text.c_str()));
    if (text.empty() && default_value != nullptr)
        text = default_value;
    else if (text.size() >= PROPERTY_VALUE_MAX && isWriteOnce(key))
        text = kTooLongToRead;
    const size_t length = std::min<size_t>(text.size(), PROPERTY_VALUE_MAX - 1);
    memcpy(value, text.data(), length);
    value[length] = '\0';
    return static_cast<int>(length);
}

int8_t property_get_bool(const char* key, int8_t default_value) {
    constexpr std::string_view kTrue[] = {"1", "y", "yes", "true", "on"};
    constexpr std::string_view kFalse[] = {"0", "n", "no", "false", "off"};
    char value[PROPERTY_VALUE_MAX];
    property_get(key, value, "");
    if (std::ranges::count(kTrue, value) != 0) return 1;
    if (std::ranges::count(kFalse, value) != 0) return 0;
    return default_value;
}

int32_t property_get_int32(const char* key, int32_t default_value) {
    char value[PROPERTY_VALUE_MAX];
    property_get(key, value, "");
    char* end = nullptr;
    errno = 0;
    const intmax_t number = strtoimax(value, &end, 0);
    if (end == value || errno == ERANGE) return default_value;
    if (number < INT32_MIN || number > INT32_MAX) return default_value;
    return static_cast<int32_t>(number);
}

int property_set(const char* key, const char* value) {
    const std::string_view text = value == nullptr ? "" : value;
    const bool tooLong = text.size() >= PROPERTY_VALUE_MAX;
    if (!isLegalName(key) || (tooLong && !isWriteOnce(key)) || text.size() > kMaxBytes) {
        errno = EINVAL;
        return -1;
    }
    return publish(key, text) ? 0 : -1;
}

int property_list(void (*propfn)(const char* key, const char* value, void* cookie), void* cookie) {
    DIR* folder = opendir(std::string(kFolder).c_str());
    if (folder == nullptr) return -1;
    while (const dirent* entry = readdir(folder)) {
        if (!isLegalName(entry->d_name)) continue;
        propfn(entry->d_name, readValue(entry->d_name).c_str(), cookie);
    }
    closedir(folder);
    return 0;
}
