#pragma once

// Lets the allocator keep freed memory for the next use instead of handing
// it back to the system at once. Opening a long MP4 builds index tables of
// several megabytes; in fresh pages from the system each page costs a fault,
// which makes starting to play such a file three to five times slower.
// Call once at the start of the program, before any thread starts.
void keepFreedMemoryForReuse();
