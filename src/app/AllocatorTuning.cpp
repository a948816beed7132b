#include "app/AllocatorTuning.h"

#include <malloc.h>

void keepFreedMemoryForReuse() {
    // Blocks up to 32 MB come from the heap, and up to 64 MB of free memory
    // at its top stay mapped (the defaults give 128 KB back at once).
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, 64 << 20);
}
