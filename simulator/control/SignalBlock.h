/// @file
/// Blocks signals while a thread is created.
#pragma once

#include <signal.h>

namespace qzsim
{
/// Blocks all signals during its lifetime. A thread inherits the mask, so one created meanwhile receives none.
class SignalBlock
{
public:
    SignalBlock()
    {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &mFormerMask);
    }
    ~SignalBlock() { ::pthread_sigmask(SIG_SETMASK, &mFormerMask, nullptr); }
    SignalBlock(SignalBlock const&) = delete;
    SignalBlock& operator=(SignalBlock const&) = delete;

private:
    sigset_t mFormerMask{};
};
}  // namespace qzsim
