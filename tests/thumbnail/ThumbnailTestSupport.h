#ifndef PSDKIT_TESTS_THUMBNAIL_THUMBNAILTESTSUPPORT_H
#define PSDKIT_TESTS_THUMBNAIL_THUMBNAILTESTSUPPORT_H

// Helpers of the thumbnail tests: decoding a JPEG stream with libjpeg,
// source planes, and ways to make the encoder's resources fail.

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace thumbtest {

struct DecodedJpeg {
    bool ok = false;
    unsigned long width = 0;
    unsigned long height = 0;
    int components = 0;
    std::vector<unsigned char> pixels;  // interleaved RGB, row after row
    std::vector<std::string> comments;  // the COM markers, in file order
    unsigned char R(unsigned long x, unsigned long y) const { return pixels[3 * (y * width + x)]; }
    unsigned char G(unsigned long x, unsigned long y) const { return pixels[3 * (y * width + x) + 1]; }
    unsigned char B(unsigned long x, unsigned long y) const { return pixels[3 * (y * width + x) + 2]; }
};

// Decodes a whole stream to RGB; ok is false when libjpeg refuses it.
DecodedJpeg DecodeJpeg(const char* data, std::size_t size);

// Three planes of width x height bytes. Grey: the same pseudo-random value
// in all three planes (no chroma, so 4:2:0 subsampling loses nothing), so
// neighbouring rows and columns differ strongly. Colour: independent values
// in 96..160 per plane, a range where decoding never clips.
std::vector<char> GreyNoisePlanes(unsigned long width, unsigned long height, unsigned seed);
std::vector<char> ColourNoisePlanes(unsigned long width, unsigned long height, unsigned seed);
std::vector<char> FlatPlanes(unsigned long width, unsigned long height, unsigned char r, unsigned char g,
                             unsigned char b);

// Makes the next array allocation of exactly `size` bytes fail (once), in
// the library as in the test.
void FailNextArrayAllocationOf(std::size_t size);
// Disarms it; true when the failure did happen.
bool DisarmArrayAllocationFailure();
// False where a tool (valgrind, a sanitizer) replaces operator new itself.
bool CanFailArrayAllocations();

#define THUMBTEST_REQUIRE_ALLOCATION_FAILURES()                                                     \
    do {                                                                                            \
        if (!::thumbtest::CanFailArrayAllocations())                                                \
            GTEST_SKIP() << "allocation failures cannot be injected here (operator new is replaced" \
                            " by a tool such as valgrind)";                                          \
    } while (0)

// Runs `body` while the process cannot open another file descriptor.
void WithoutFreeFileDescriptors(const std::function<void()>& body);

}  // namespace thumbtest

#endif
