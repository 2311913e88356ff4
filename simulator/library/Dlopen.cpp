// The dlopen of the preloaded library. It must end in a jump to the next dlopen, which finds its caller by the return
// address and searches the folders of the caller. For position-independent code, the compiler for 32-bit PowerPC does not
// generate such a jump, so this source is compiled without that option, and has no data.
#include "simulator/library/Dlopen.h"

extern "C" void* dlopen(char const* aPath, int aMode)
{
    qzsim::Dlopen* const next = qzsim::nextDlopen();
    return next(qzsim::redirectedPath(aPath, aMode), qzsim::redirectedMode(aPath, aMode));
}
