// Takes the place of the diagnostic library with --keep-loaded. The program finds the functions in libqzsim-vqm.so, on
// which this library depends.
#include "simulator/library/KeptLibrary.h"

namespace
{
[[gnu::constructor]] void open() { QZSIM_KeepLoaded(); }

[[gnu::destructor]] void close() { QZSIM_Close(); }
}  // namespace
