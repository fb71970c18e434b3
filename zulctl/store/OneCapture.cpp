// SPDX-License-Identifier: Apache-2.0

#include "zulctl/store/OneCapture.h"

#include <algorithm>
#include <utility>

#include "base/Paths.h"

namespace zulctl {

namespace {

/** The last name of a path, without an archive's suffix. */
std::string lastName(std::string_view path) {
    path.remove_prefix(path.rfind('/') + 1);
    if (path.ends_with(zul::kArchiveSuffix)) path.remove_suffix(sizeof(zul::kArchiveSuffix) - 1);
    return std::string(path);
}

}  // namespace

OneCapture::OneCapture(const Capture& other)
      : tag(other.tag), archive(other.archive), build(other.build), capture(other) {
    capture.tag = tag;
    capture.archive = archive;
    capture.build = build;
}

std::unique_ptr<OneCapture> findCapture(Session& session, const std::string& wanted,
                                        Captures& captures) {
    const std::string name = lastName(wanted);
    std::string start = name;
    std::replace_if(
            start.begin(), start.end(), [](char c) { return c == ' ' || c == '-' || c == ':'; },
            '_');

    std::unique_ptr<OneCapture> found;
    std::unique_ptr<OneCapture> beginsSo;
    bool several = false;
    captures.visitAll([&](const Capture& capture) {
        if (capture.name() == name || capture.tag == wanted) {
            found = std::make_unique<OneCapture>(capture);
        } else if (!start.empty() && capture.name().starts_with(start)) {
            several = several || (beginsSo != nullptr && beginsSo->archive != capture.archive);
            if (beginsSo == nullptr) beginsSo = std::make_unique<OneCapture>(capture);
        }
        return found == nullptr;
    });
    if (found == nullptr && !several) found = std::move(beginsSo);
    if (found == nullptr) {
        session.remark(
                (several ? "several captures begin so: " : "there is no capture of that name: ") +
                wanted);
    }
    return found;
}

std::optional<Event> findEvent(Session& session, const Device& device, Captures& captures,
                               const std::string& archive, bool keepLines) {
    std::optional<Event> found;
    if (!device.log) return found;
    // Of several the last one: it has overwritten the others.
    readEvents(session, device,
               {.event =
                        [&](Event& event) {
                            captures.decide(event);
                            if (event.archive == archive) found = std::move(event);
                        },
                .keepLines = keepLines});
    return found;
}

}  // namespace zulctl
