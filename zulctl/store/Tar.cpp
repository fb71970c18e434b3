// SPDX-License-Identifier: Apache-2.0

#include "zulctl/store/Tar.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "base/RemoveTree.h"
#include "base/Text.h"

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

/** Of what is no archive's own content; far above what a path needs. */
constexpr uint64_t kMostRecords = 1 << 16;

bool readWhole(int source, void* bytes, size_t size) {
    auto* next = static_cast<char*>(bytes);
    while (size > 0) {
        const ssize_t count = read(source, next, size);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        next += count;
        size -= static_cast<size_t>(count);
    }
    return true;
}

uint64_t paddingOf(uint64_t size) {
    return (kBlock - size % kBlock) % kBlock;
}

/** Takes what such a record says of the member behind it. */
void takePaxRecords(const std::string& records, std::string& name, uint64_t& size) {
    for (const std::string& record : zul::split(records, "\n")) {
        const size_t key = record.find(' ') + 1;
        const size_t value = record.find('=') + 1;
        if (record.compare(key, value - key, "path=") == 0) name = record.substr(value);
        if (record.compare(key, value - key, "size=") == 0) {
            size = strtoull(record.c_str() + value, nullptr, 10);
        }
    }
}

/** Makes a file below `folder`, which nobody else writes in, with all folders above it. */
zul::ScopedFd makeBelow(int folder, const std::string& path) {
    zul::ScopedFd parent = zul::openInner(folder, ".");
    std::string last;
    for (const std::string& name : zul::split(path, "/")) {
        if (name.empty() || name == "." || name == ".." || !parent.ok()) return zul::ScopedFd(-1);
        if (!last.empty()) {
            mkdirat(parent.get(), last.c_str(), 0700);
            parent = zul::openInner(parent.get(), last.c_str());
        }
        last = name;
    }
    return zul::ScopedFd(openat(parent.get(), last.c_str(),
                                O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
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

bool unpackTar(int source, int folder) {
    std::string paxName;
    uint64_t paxSize = 0;
    Header header = {};
    while (readWhole(source, &header, sizeof(header)) && header.name[0] != '\0') {
        if (memcmp(header.magic, "ustar", 5) != 0) return false;
        uint64_t size = strtoull(std::string(header.size, sizeof(header.size)).c_str(), nullptr, 8);
        if (header.kind == 'x') {
            std::string records(std::min(size, kMostRecords), '\0');
            if (size > kMostRecords || !readWhole(source, records.data(), records.size()))
                return false;
            takePaxRecords(records, paxName, paxSize);
        } else {
            const std::string name =
                    paxName.empty()
                            ? std::string(header.name, strnlen(header.name, sizeof(header.name)))
                            : paxName;
            size = std::max(size, paxSize);
            const bool isFile = header.kind == '0' || header.kind == '\0';
            const zul::ScopedFd file = isFile ? makeBelow(folder, name) : zul::ScopedFd(-1);
            char block[1 << 16];
            for (uint64_t left = size; left > 0;) {
                const auto part = static_cast<size_t>(std::min<uint64_t>(left, sizeof(block)));
                if (!readWhole(source, block, part)) return false;
                if (file.ok() && write(file.get(), block, part) != static_cast<ssize_t>(part))
                    return false;
                left -= part;
            }
            paxName.clear();
            paxSize = 0;
        }
        char padding[kBlock];
        if (!readWhole(source, padding, static_cast<size_t>(paddingOf(size)))) return false;
    }
    return header.name[0] == '\0';
}

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
    return writeAll(zeros, static_cast<size_t>(paddingOf(size)));
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
