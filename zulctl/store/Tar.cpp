// SPDX-License-Identifier: Apache-2.0

#include "zulctl/store/Tar.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

namespace zulctl {

namespace {

constexpr size_t kBlock = 512;

/** The ustar header; all fields are texts. */
struct Header {
    char name[100];
    char mode[8];
    char owner[8];
    char group[8];
    char size[12];
    char time[12];
    char checksum[8];
    char kind;
    char link[100];
    char magic[8];
    char rest[247];
};
static_assert(sizeof(Header) == kBlock);

/** The largest that fits its field. */
constexpr uint64_t kLargestSize = 077777777777;

/** Names that fit, as the only ones that need no record of their own. */
bool isShort(const std::string& name) {
    return name.size() < sizeof(Header::name);
}

/** "LENGTH KEY=VALUE\n", where the length counts itself too. */
std::string paxRecord(const std::string& key, const std::string& value) {
    const std::string rest = " " + key + "=" + value + "\n";
    size_t length = rest.size();
    while (std::to_string(length).size() + rest.size() != length)
        length = std::to_string(length).size() + rest.size();
    return std::to_string(length) + rest;
}

}  // namespace

bool TarWriter::addText(const std::string& name, std::string_view text) {
    return writeStart(name, text.size()) && writeAll(text.data(), text.size()) &&
           writePadding(text.size());
}

bool TarWriter::addFile(const std::string& name, int source, uint64_t size) {
    if (!writeStart(name, size)) return false;
    char buffer[1 << 16];
    for (uint64_t left = size; left > 0;) {
        const ssize_t count = read(source, buffer, std::min<uint64_t>(left, sizeof(buffer)));
        if (count < 0 && errno == EINTR) continue;
        if (count == 0) errno = 0;
        if (count <= 0 || !writeAll(buffer, static_cast<size_t>(count))) return false;
        left -= static_cast<uint64_t>(count);
    }
    return writePadding(size);
}

bool TarWriter::finish() {
    const char zeros[2 * kBlock] = {};
    return writeAll(zeros, sizeof(zeros));
}

bool TarWriter::writeStart(const std::string& name, uint64_t size) {
    std::string records;
    if (!isShort(name)) records += paxRecord("path", name);
    if (size > kLargestSize) records += paxRecord("size", std::to_string(size));
    return (records.empty() ||
            (writeHeader("pax", records.size(), 'x') && writeAll(records.data(), records.size()) &&
             writePadding(records.size()))) &&
           writeHeader(name, size, '0');
}

bool TarWriter::writeHeader(const std::string& name, uint64_t size, char kind) {
    const auto octal = [](auto& field, uint64_t value) {
        snprintf(field, sizeof(field), "%0*llo", static_cast<int>(sizeof(field) - 1),
                 static_cast<unsigned long long>(value));
    };
    Header header = {};
    name.copy(header.name, sizeof(header.name) - 1);
    octal(header.mode, 0644);
    octal(header.owner, 0);
    octal(header.group, 0);
    octal(header.size, std::min(size, kLargestSize));
    octal(header.time, static_cast<uint64_t>(mTime) & kLargestSize);
    header.kind = kind;
    memcpy(header.magic, "ustar\00000", sizeof(header.magic));

    // Over the header with blanks where the sum will stand.
    memset(header.checksum, ' ', sizeof(header.checksum));
    const auto* bytes = reinterpret_cast<const unsigned char*>(&header);
    unsigned sum = 0;
    for (size_t i = 0; i < sizeof(header); i++)
        sum += bytes[i];
    snprintf(header.checksum, sizeof(header.checksum), "%06o", sum);
    return writeAll(&header, sizeof(header));
}

bool TarWriter::writePadding(uint64_t size) {
    const char zeros[kBlock] = {};
    return writeAll(zeros, static_cast<size_t>((kBlock - size % kBlock) % kBlock));
}

bool TarWriter::writeAll(const void* bytes, size_t size) {
    const auto* next = static_cast<const char*>(bytes);
    while (size > 0) {
        const ssize_t count = write(mFd, next, size);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        next += count;
        size -= static_cast<size_t>(count);
    }
    return true;
}

}  // namespace zulctl
