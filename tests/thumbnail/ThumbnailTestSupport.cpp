#include "ThumbnailTestSupport.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <new>

#include <jpeglib.h>

namespace thumbtest {

namespace {

struct DecodeErrors {
    jpeg_error_mgr pub;
    jmp_buf jump;
};

void DecodeErrorExit(j_common_ptr cinfo) { longjmp(reinterpret_cast<DecodeErrors*>(cinfo->err)->jump, 1); }
void DecodeQuiet(j_common_ptr) {}

// Plain state only: a jump out of libjpeg must skip no destructor.
bool DecodeInto(const unsigned char* data, unsigned long size, jpeg_decompress_struct* cinfo, DecodeErrors* errors,
                DecodedJpeg* out) {
    cinfo->err = jpeg_std_error(&errors->pub);
    errors->pub.error_exit = DecodeErrorExit;
    errors->pub.output_message = DecodeQuiet;
    if (setjmp(errors->jump) != 0) return false;
    jpeg_create_decompress(cinfo);
    jpeg_mem_src(cinfo, data, size);
    jpeg_save_markers(cinfo, JPEG_COM, 0xFFFF);
    if (jpeg_read_header(cinfo, TRUE) != JPEG_HEADER_OK) return false;
    cinfo->out_color_space = JCS_RGB;
    jpeg_start_decompress(cinfo);
    out->width = cinfo->output_width;
    out->height = cinfo->output_height;
    out->components = cinfo->num_components;
    out->pixels.resize(3UL * out->width * out->height);
    while (cinfo->output_scanline < cinfo->output_height) {
        JSAMPROW row = out->pixels.data() + 3UL * out->width * cinfo->output_scanline;
        jpeg_read_scanlines(cinfo, &row, 1);
    }
    for (jpeg_saved_marker_ptr m = cinfo->marker_list; m != nullptr; m = m->next)
        if (m->marker == JPEG_COM)
            out->comments.emplace_back(reinterpret_cast<const char*>(m->data), m->data_length);
    jpeg_finish_decompress(cinfo);
    return true;
}

unsigned Next(unsigned* state) {
    *state = *state * 1103515245u + 12345u;
    return *state >> 16;
}

std::atomic<std::size_t> failingSize{0};

bool ShouldFail(std::size_t size) {
    std::size_t expected = size;
    return size != 0 && failingSize.compare_exchange_strong(expected, 0);
}

}  // namespace

DecodedJpeg DecodeJpeg(const char* data, std::size_t size) {
    DecodedJpeg result;
    jpeg_decompress_struct cinfo{};
    DecodeErrors errors{};
    result.ok = DecodeInto(reinterpret_cast<const unsigned char*>(data), size, &cinfo, &errors, &result);
    jpeg_destroy_decompress(&cinfo);
    return result;
}

std::vector<char> GreyNoisePlanes(unsigned long width, unsigned long height, unsigned seed) {
    std::vector<char> planes(3 * width * height);
    unsigned long plane = width * height;
    for (unsigned long i = 0; i < plane; ++i) {
        char v = static_cast<char>(Next(&seed) & 0xFF);
        planes[i] = planes[plane + i] = planes[2 * plane + i] = v;
    }
    return planes;
}

std::vector<char> ColourNoisePlanes(unsigned long width, unsigned long height, unsigned seed) {
    std::vector<char> planes(3 * width * height);
    for (char& v : planes) v = static_cast<char>(96 + Next(&seed) % 65);
    return planes;
}

std::vector<char> FlatPlanes(unsigned long width, unsigned long height, unsigned char r, unsigned char g,
                             unsigned char b) {
    std::vector<char> planes(width * height, static_cast<char>(r));
    planes.insert(planes.end(), width * height, static_cast<char>(g));
    planes.insert(planes.end(), width * height, static_cast<char>(b));
    return planes;
}

void FailNextArrayAllocationOf(std::size_t size) { failingSize = size; }

bool DisarmArrayAllocationFailure() { return failingSize.exchange(0) == 0; }

bool CanFailArrayAllocations() {
    // An odd size nothing else asks for; volatile keeps the call in place.
    static const std::size_t probe = 7919;
    FailNextArrayAllocationOf(probe);
    char* volatile p = new (std::nothrow) char[probe];
    bool failed = p == nullptr;
    delete[] p;
    DisarmArrayAllocationFailure();
    return failed;
}

void WithoutFreeFileDescriptors(const std::function<void()>& body) {
    rlimit saved{};
    getrlimit(RLIMIT_NOFILE, &saved);
    rlimit low = saved;
    low.rlim_cur = 64;
    if (low.rlim_cur > saved.rlim_cur) low.rlim_cur = saved.rlim_cur;
    setrlimit(RLIMIT_NOFILE, &low);
    std::vector<int> taken;
    taken.reserve(64);
    for (;;) {
        int fd = open("/dev/null", O_RDONLY);
        if (fd < 0) break;
        taken.push_back(fd);
    }
    body();
    for (int fd : taken) close(fd);
    setrlimit(RLIMIT_NOFILE, &saved);
}

}  // namespace thumbtest

// Array allocations of the whole process pass through here, so that a test
// can make the encoder's scanline or result buffer unavailable.
void* operator new[](std::size_t size) {
    if (thumbtest::ShouldFail(size)) throw std::bad_alloc();
    void* p = std::malloc(size == 0 ? 1 : size);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    if (thumbtest::ShouldFail(size)) return nullptr;
    return std::malloc(size == 0 ? 1 : size);
}

void operator delete[](void* p) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }
