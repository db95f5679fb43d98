// Linked into the fuzz targets of the fast tree (no sanitizer allocator):
// glibc gives the top of its heap back as soon as more than 128 KB of it is
// free, and serves larger blocks with mmap. Decoders that allocate and free
// such amounts for every input (FAAD2 above all) then spent most of a run in
// brk and munmap and the TLB flushes they cost in a virtual machine. Keeping
// what was once taken makes each input's allocations reuse it.
#include <malloc.h>

namespace {

const bool heapKept = [] {
    mallopt(M_TRIM_THRESHOLD, 512 << 20);
    mallopt(M_MMAP_THRESHOLD, 64 << 20);
    return true;
}();

}  // namespace
