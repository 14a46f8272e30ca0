#include "Memory.h"

#include <malloc.h>

void mapLargeBuffersApart()
{
    // A fixed threshold also stops glibc from raising it after each large free.
    ::mallopt(M_MMAP_THRESHOLD, 256 * 1024);
}

void releaseFreedMemory()
{
    ::malloc_trim(0);
}
