// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/Files.h"

namespace sim {

/** Where the engine listens for `fire`, and the name by which init passes the socket. */
inline constexpr char kControlName[] = "zul_engine_control";
inline constexpr char kControlSocket[] = "/dev/socket/zul_engine_control";

/** What begins the last line of every answer. */
inline constexpr char kExit[] = "exit ";

/**
 * A connection between the engine and `fire`. `fire` sends its words as one line. The engine answers
 * with the lines that `fire` is to print and then with `exit STATUS` or `exit STATUS WHY`.
 */
class Control {
  public:
    /** Each step of sending and receiving may take so long; 0: for ever. */
    explicit Control(zul::ScopedFd fd, int limitSeconds = 0);

    /** Connects to the engine; not open, with errno set, when none serves. */
    static Control connect();

    bool isOpen() const { return mFd.ok(); }

    /** Sends a line, which ends with its break. False when the peer is gone or takes nothing. */
    bool send(std::string_view line) const;

    /** The next line, without its break. False when there is none, or an absurdly long one. */
    bool receive(std::string* line);

  private:
    zul::ScopedFd mFd;
    std::string mReceived;
};

/** The text with `\xNN` for what ends a word or a line, for other control characters and for `\`. */
std::string printable(std::string_view text);

/** The line that carries these words, and back. */
std::string joinWords(const std::vector<std::string>& words);
std::vector<std::string> splitWords(std::string_view line);

}  // namespace sim
