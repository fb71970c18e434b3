// SPDX-License-Identifier: Apache-2.0

#include "zulctl/store/OneCapture.h"
#include "zulctl/store/ArchiveName.h"

#include <utility>

#include "base/Paths.h"
#include "zulctl/log/LogEvents.h"

namespace zulctl {

namespace {

/** The last name of a path, without an archive's suffix. */
std::string_view lastName(std::string_view path) {
    path.remove_prefix(path.rfind('/') + 1);
    if (path.ends_with(zul::kArchiveSuffix)) path.remove_suffix(sizeof(zul::kArchiveSuffix) - 1);
    return path;
}

}  // namespace

OneCapture::OneCapture(const Capture& capture)
      : name(capture.name()),
        tag(capture.tag),
        time(capture.time),
        state(capture.state),
        archive(capture.archive),
        build(capture.build),
        recorded(capture.recorded),
        entry(capture.entry) {}

bool namesCapture(Session& session, const Arguments& arguments) {
    if (arguments.has("newest") == arguments.operands.empty()) return true;
    session.wrongCall("needs one of ARCHIVE, TAG and -1");
    return false;
}

std::optional<OneCapture> findCapture(Session& session, const Arguments& arguments,
                                      Captures& captures) {
    const bool newest = arguments.operands.empty();
    const std::string wanted = newest ? "" : arguments.operands[0];
    const std::string_view name = lastName(wanted);
    const bool isName = parseArchiveName(name).has_value();

    std::optional<OneCapture> found;
    captures.visitAll([&](const Capture& capture) {
        const bool fits = newest || (isName ? capture.name() == name : capture.tag == wanted);
        if (fits) found.emplace(capture);
        return !fits;
    });
    if (!found) {
        session.remark(newest ? "there is no capture"
                              : "there is no capture of that name: " + wanted);
    }
    return found;
}

std::optional<Event> findEvent(Session& session, const std::string& archive, bool keepLines) {
    std::optional<Event> found;
    // Of several the last one: it has overwritten the others.
    readEvents(session, keepLines, [&](Event& event) {
        if (event.archive == archive) found = std::move(event);
    });
    return found;
}

}  // namespace zulctl
