// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zulctl {

/**
 * Writes HTML and SVG that is well-formed XML as well. All texts and values go through printable() and are
 * escaped here and nowhere else, so that no name can pass for markup; names of elements and attributes
 * are the program's own.
 */
class Markup {
  public:
    using Attributes = std::initializer_list<std::pair<std::string_view, std::string_view>>;

    Markup& open(std::string_view element, Attributes attributes = {});
    Markup& text(std::string_view text);
    /** Ends the element that was opened last. */
    Markup& close();
    /** An element with nothing but a text in it. */
    Markup& add(std::string_view element, Attributes attributes, std::string_view text);
    /** An element of those that are always empty. */
    Markup& addEmpty(std::string_view element, Attributes attributes);
    /** What another writer has made. */
    Markup& insert(const Markup& part);
    /** A text of the program's own as it is. */
    Markup& insertAsIs(std::string_view text);

    size_t size() const { return mText.size(); }
    const std::string& string() const { return mText; }

  private:
    void begin(std::string_view element, Attributes attributes);
    void escape(std::string_view text);

    std::string mText;
    std::vector<std::string_view> mOpen;
};

/** No more than `most` bytes of a text, its end as "..." if there is more; no character is cut. */
std::string shortened(std::string_view text, size_t most);

/** A share of a whole, 0 to 1, as a percentage. */
std::string percent(double share);

}  // namespace zulctl
