// The vendor library for LibvqmAbsBenchmark. Every function answers immediately.
#include <ctime>

#include <hbaapi.h>

extern "C"
{
    unsigned int VQM_GetLinkInfo(unsigned int, void*) { return 0; }

    unsigned int unRegisterForEvent(unsigned int, unsigned int) { return 0; }

    unsigned int VQM_QZ_unRegisterForEvent(unsigned int, HBA_wwn, unsigned int) { return 0; }
}
