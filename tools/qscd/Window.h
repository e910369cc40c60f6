// SPDX-License-Identifier: Apache-2.0
// The daemon's watch over a change that waits to be confirmed: when its time is over, and when its checks are
// due.
#pragma once

#include "tools/qscd/Applies.h"

namespace qscd
{

class Window
{
  public:
    /// Has a call without a client served.
    struct Hooks {
        void* owner;
        void (*submit)(void* owner, Call* call);
    };

    explicit Window(const Hooks& hooks) : hooks_(hooks) {}

    /// Begins with what the last daemon has left.
    void start();

    /// To be told of each call that has come back.
    void note(const Call& done);

    /// Looks after it. @return milliseconds until it has to look again; -1: nothing waits
    [[nodiscard]] int look();

  private:
    void read();
    void judge(const Call& check);
    void send(Errand errand, std::string_view what);

    Hooks hooks_;
    qsc::Text<64> id_;        ///< empty: nothing waits
    qsc::i64 deadline_ = 0;   ///< milliseconds of CLOCK_BOOTTIME
    qsc::i64 next_check_ = 0; ///< likewise; 0: there are no checks, or they are passed
    qsc::i64 retries_ = 0;    ///< that are left
    bool is_judged_ = false;  ///< by its checks alone
    bool has_errand_ = false; ///< something is being done with it
    bool is_checking_ = false;
    bool was_taken_back_ = false; ///< it has been tried: it is not tried again and again
};

} // namespace qscd
