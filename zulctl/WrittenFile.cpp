// SPDX-License-Identifier: Apache-2.0

#include "zulctl/WrittenFile.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include "base/Files.h"
#include "zulctl/Session.h"

namespace zulctl {

bool writeWhole(Session& session, const std::string& name, std::string_view text) {
    if (name == "-") {
        session.out().line(text);
        return true;
    }
    const zul::ScopedFile file(fopen(name.c_str(), "we"));
    if (file != nullptr && fwrite(text.data(), 1, text.size(), file.get()) == text.size() &&
        fflush(file.get()) == 0) {
        return true;
    }
    session.problem(name + ": " + strerror(errno));
    return false;
}

}  // namespace zulctl
