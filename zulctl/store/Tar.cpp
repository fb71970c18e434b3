// SPDX-License-Identifier: Apache-2.0

#include "zulctl/store/Tar.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <numeric>
#include <utility>

#include "base/RemoveTree.h"
#include "base/Text.h"

namespace zulctl {

namespace {

constexpr uint64_t kBlock = 512;
/** What is read or written at a time, and more than any name needs. */
constexpr uint64_t kPart = 1 << 16;
/** The kind of a member that is the name of the next one. */
constexpr char kLongName = 'L';

/** All fields are texts. */
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

/** Twelve digits, as the end of the field ends the number too. */
constexpr uint64_t kLargestSize = 0777777777777;

uint64_t paddingOf(uint64_t size) {
    return (kBlock - size % kBlock) % kBlock;
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

}  // namespace

bool unpackTar(int source, int folder) {
    std::string longName;
    for (;;) {
        const std::string block = zul::readAll(source, kBlock);
        Header header = {};
        block.copy(reinterpret_cast<char*>(&header), sizeof(header));
        if (block.size() == kBlock && header.name[0] == '\0') return true;
        if (block.size() != kBlock || memcmp(header.magic, "ustar", 5) != 0) return false;

        std::string name(header.name, strnlen(header.name, sizeof(header.name)));
        if (!longName.empty()) name = std::exchange(longName, "").c_str();
        uint64_t size = strtoull(std::string(header.size, sizeof(header.size)).c_str(), nullptr, 8);
        const bool isFile = header.kind == '0' || header.kind == '\0';
        const zul::ScopedFd file = isFile ? makeBelow(folder, name) : zul::ScopedFd(-1);
        for (uint64_t left = size + paddingOf(size); left > 0;) {
            std::string part = zul::readAll(source, std::min(left, kPart));
            if (part.empty()) return false;
            left -= part.size();
            // The padding belongs to nothing.
            part.resize(std::min<uint64_t>(part.size(), size));
            size -= part.size();
            if (header.kind == kLongName && longName.empty()) longName = part;
            if (file.ok() && !zul::writeAll(file.get(), part)) return false;
        }
    }
}

bool TarWriter::addText(const std::string& name, std::string_view text, char kind) {
    return writeHeader(name, text.size(), kind) && zul::writeAll(mFd, text) &&
           writeZeros(paddingOf(text.size()));
}

bool TarWriter::addFile(const std::string& name, int source, uint64_t size) {
    if (!writeHeader(name, size, '0')) return false;
    for (uint64_t left = size; left > 0;) {
        errno = 0;
        const std::string part = zul::readAll(source, std::min(left, kPart));
        if (part.empty() || !zul::writeAll(mFd, part)) return false;
        left -= part.size();
    }
    return writeZeros(paddingOf(size));
}

bool TarWriter::finish() {
    return writeZeros(2 * kBlock);
}

bool TarWriter::writeHeader(const std::string& name, uint64_t size, char kind) {
    if (size > kLargestSize) {
        errno = EFBIG;
        return false;
    }
    const bool isLong = name.size() >= sizeof(Header::name);
    if (isLong && !addText("././@LongLink", name + '\0', kLongName)) return false;

    const auto octal = [](auto& field, uint64_t value) {
        char digits[32] = {};
        snprintf(digits, sizeof(digits), "%0*llo", static_cast<int>(sizeof(field) - 1),
                 static_cast<unsigned long long>(value));
        memcpy(field, digits, sizeof(field));
    };
    Header header = {};
    name.copy(header.name, sizeof(header.name) - 1);
    octal(header.mode, 0644);
    octal(header.owner, 0);
    octal(header.group, 0);
    octal(header.size, size);
    octal(header.time, static_cast<uint64_t>(mTime) & kLargestSize);
    header.kind = kind;
    memcpy(header.magic, "ustar  ", sizeof(header.magic));

    // Over the header with blanks where the sum will stand.
    memset(header.checksum, ' ', sizeof(header.checksum));
    const auto* bytes = reinterpret_cast<const unsigned char*>(&header);
    octal(header.checksum, std::accumulate(bytes, bytes + sizeof(header), uint64_t{0}));
    return zul::writeAll(mFd, {reinterpret_cast<const char*>(&header), sizeof(header)});
}

bool TarWriter::writeZeros(uint64_t count) {
    return zul::writeAll(mFd, std::string(count, '\0'));
}

}  // namespace zulctl
