#ifndef PSDKIT_CORE_PSDBOUNDEDREADER_H
#define PSDKIT_CORE_PSDBOUNDEDREADER_H

#include <istream>
#include <memory>
#include <string>
#include <vector>

namespace psdkit {

// A window on untrusted bytes: the whole file, a section of it, a block, a
// record, or a buffer in memory. Every parser reads through one, and each
// framed part gets a sub-window of its own bytes, so no read or seek can pass
// the end of the part it belongs to, nor the end of the file. A request that
// does not fit fails whole and consumes nothing.
//
// Internal: not exported, not installed.
class PSDBoundedReader {
public:
    static constexpr unsigned long UNLIMITED = ~0UL;

    // The bytes behind the windows of one file: a mapped file, a stream or
    // memory. Its size is measured once; small reads are served from memory
    // so that they cost no system call each. Windows on one source share it
    // and the list where problems are written down.
    class Source;

    // From the stream's current position to its end, at most `limit` bytes.
    // A failed stream gives an empty window.
    explicit PSDBoundedReader(std::istream* input, unsigned long limit = UNLIMITED);
    // Over `size` bytes of memory starting at `data` (which may be null when
    // size is 0). Problems go to the list of the file being read, if any.
    PSDBoundedReader(const char* data, unsigned long size);
    // Over a whole regular file by name, its size measured once; an empty
    // window when it cannot be opened.
    static PSDBoundedReader OpenFile(const char* name);

    // The next `n` bytes as a window of their own, cut at this window's end
    // (Clipped then tells). This window does not move.
    PSDBoundedReader Sub(unsigned long n) const;
    // Like Sub, and this window moves behind the sub-window.
    PSDBoundedReader Take(unsigned long n);

    unsigned long Remaining() const { return End - Pos; }
    // Offset from the window's start.
    unsigned long Offset() const { return Pos - Begin; }
    unsigned long Size() const { return End - Begin; }
    // Offset in the file (or stream, from where the outermost window began).
    unsigned long FileOffset() const { return Pos; }
    // True when the window is shorter than it was asked to be.
    bool Clipped() const { return WasClipped; }

    bool Has(unsigned long n) const { return n <= End - Pos; }
    bool Read(char* destination, unsigned long n);
    bool Skip(unsigned long n);
    // Moves to an offset from the window's start, forward or back.
    bool SeekTo(unsigned long offset);
    // Moves to a file offset inside the window.
    bool SeekToFileOffset(unsigned long offset);
    bool ReadByte(unsigned char* value);
    bool ReadShort(unsigned short* value);
    bool ReadLong(unsigned long* value);
    // The next n bytes in memory without consuming them (valid until the
    // next read through the same source); null when they do not fit.
    const char* Peek(unsigned long n);

    // Reads ahead at least this many bytes when a small read has to fetch.
    void SetReadAhead(unsigned long n);

    // Writes down one problem line, printf style, for the file being read.
    void Problem(const char* format, ...) const __attribute__((format(printf, 2, 3)));
    // True when problems are being written down at all.
    bool Reporting() const;

    // Stream windows: leaves the stream at the window's position, for callers
    // that go on reading the stream themselves.
    void SyncStream() const;

    // While one lives, windows on memory report to `problems` (decoders of
    // resource blocks read their own copies of the file's bytes).
    // It also sets the memory a read may take for what it keeps (UNLIMITED
    // without a scope).
    class ProblemScope {
    public:
        explicit ProblemScope(std::vector<std::string>* problems, unsigned long budget = UNLIMITED);
        ~ProblemScope();
        ProblemScope(const ProblemScope&) = delete;
        ProblemScope& operator=(const ProblemScope&) = delete;

    private:
        std::vector<std::string>* Saved;
        unsigned long SavedBudget;
    };

    // Charges what an object read from the file costs against the budget of
    // the current scope; false, charging nothing, when it does not fit.
    static bool Charge(unsigned long bytes);
    static void SetBudget(unsigned long bytes);
    // What is left of the budget (UNLIMITED without a scope).
    static unsigned long Budget();

    // The big-endian value at `at`, for bytes a window has handed out.
    static unsigned long LongAt(const char* at);

    // Bytes from the stream's current position to its end; 0 for a failed
    // stream. The position is left where it was.
    static unsigned long StreamRemaining(std::istream* input);

private:
    PSDBoundedReader(std::shared_ptr<Source> source, unsigned long begin, unsigned long end, bool clipped);

    std::shared_ptr<Source> From;
    unsigned long Begin;
    unsigned long Pos;
    unsigned long End;
    bool WasClipped;
};

}  // namespace psdkit

#endif
