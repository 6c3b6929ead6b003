#include "psdkit/core/PSDBoundedReader.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "psdkit/core/PSDUtil.h"

namespace psdkit {

namespace {

// Small reads fetch this much at once from a stream.
const unsigned long BLOCK_SIZE = 64 * 1024;
// Copies of this size and more from a mapped file go through the kernel:
// it fills fresh memory faster than a copy from the mapping does.
const unsigned long DIRECT_COPY = 1024 * 1024;
const std::size_t MAX_PROBLEMS = 100;

thread_local std::vector<std::string>* ScopedProblems = nullptr;
thread_local unsigned long ScopedBudget = ~0UL;

}  // namespace

class PSDBoundedReader::Source {
public:
    Source(const char* data, unsigned long size) : Data(data), Size(size) {}
    Source(std::istream* input, std::streamoff base, unsigned long size) : Input(input), Base(base), Size(size) {}
    ~Source() {
        if (Mapped) munmap(const_cast<char*>(Data), Size);
        if (Descriptor >= 0) close(Descriptor);
    }
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    // Copies n bytes at pos; the caller has checked that they lie inside Size.
    bool Copy(unsigned long pos, char* destination, unsigned long n) {
        if (n == 0) return true;
        if (Data != nullptr && !(Descriptor >= 0 && n >= DIRECT_COPY)) {
            std::memcpy(destination, Data + pos, n);
            return true;
        }
        if (Descriptor >= 0) {
            while (n != 0) {
                ssize_t got = pread(Descriptor, destination, n, static_cast<off_t>(pos));
                if (got <= 0) return false;
                destination += got;
                pos += static_cast<unsigned long>(got);
                n -= static_cast<unsigned long>(got);
            }
            return true;
        }
        if (Holds(pos, n)) {
            std::memcpy(destination, Block.data() + (pos - BlockStart), n);
            return true;
        }
        if (n >= BLOCK_SIZE) return StreamRead(pos, destination, n);
        const char* bytes = Fetch(pos, n);
        if (bytes == nullptr) return false;
        std::memcpy(destination, bytes, n);
        return true;
    }

    // n bytes at pos in memory, reading `ahead` bytes when it has to read.
    const char* Fetch(unsigned long pos, unsigned long n) {
        if (Data != nullptr) return Data + pos;
        if (Holds(pos, n)) return Block.data() + (pos - BlockStart);
        // Never more than the source holds, so the block is backed by the file.
        unsigned long want = ReadAhead < Size - pos ? ReadAhead : Size - pos;
        if (want < n) want = n;
        if (Block.size() < want) Block.resize(want);
        BlockLength = 0;
        if (!StreamRead(pos, Block.data(), want)) return nullptr;
        BlockStart = pos;
        BlockLength = want;
        return Block.data();
    }

    void Sync(unsigned long pos) const {
        if (Input == nullptr) return;
        Input->clear();
        Input->seekg(Base + static_cast<std::streamoff>(pos));
    }

    void Note(const std::string& line) {
        if (Problems != nullptr && Problems->size() < MAX_PROBLEMS) Problems->push_back(line);
    }

    const char* Data = nullptr;
    bool Mapped = false;
    int Descriptor = -1;
    std::istream* Input = nullptr;
    std::streamoff Base = 0;
    unsigned long Size = 0;
    unsigned long ReadAhead = BLOCK_SIZE;
    std::vector<std::string>* Problems = nullptr;

private:
    bool Holds(unsigned long pos, unsigned long n) const {
        return pos >= BlockStart && pos - BlockStart <= BlockLength && n <= BlockLength - (pos - BlockStart);
    }
    bool StreamRead(unsigned long pos, char* destination, unsigned long n) {
        if (StreamPos != pos) {
            Input->clear();
            Input->seekg(Base + static_cast<std::streamoff>(pos));
        }
        Input->read(destination, static_cast<std::streamsize>(n));
        unsigned long got = static_cast<unsigned long>(Input->gcount());
        StreamPos = pos + got;
        if (got == n) return true;
        // The stream ended before the size it showed: nothing more is to be had.
        StreamPos = ~0UL;
        Size = pos + got;
        return false;
    }

    std::vector<char> Block;
    unsigned long BlockStart = 0;
    unsigned long BlockLength = 0;
    unsigned long StreamPos = ~0UL;
};

unsigned long PSDBoundedReader::StreamRemaining(std::istream* input) {
    if (input == nullptr || !*input) return 0;
    std::streampos here = input->tellg();
    if (here < 0) return 0;
    input->seekg(0, std::ios_base::end);
    std::streampos end = input->tellg();
    input->seekg(here);
    if (end < 0 || end < here) return 0;
    return static_cast<unsigned long>(end - here);
}

PSDBoundedReader::PSDBoundedReader(std::shared_ptr<Source> source, unsigned long begin, unsigned long end, bool clipped)
    : From(std::move(source)), Begin(begin), Pos(begin), End(end), WasClipped(clipped) {}

PSDBoundedReader::PSDBoundedReader(std::istream* input, unsigned long limit)
    : Begin(0), Pos(0), End(0), WasClipped(false) {
    // Offsets are the stream's own, so that they can be told as file offsets.
    unsigned long available = StreamRemaining(input);
    std::streamoff position = input != nullptr && *input ? std::streamoff(input->tellg()) : 0;
    unsigned long here = position > 0 ? static_cast<unsigned long>(position) : 0;
    From = std::make_shared<Source>(input, 0, here + available);
    From->Problems = ScopedProblems;
    Begin = Pos = here;
    End = here + (limit < available ? limit : available);
    WasClipped = limit != UNLIMITED && limit > available;
}

PSDBoundedReader::PSDBoundedReader(const char* data, unsigned long size)
    : From(std::make_shared<Source>(data, data == nullptr ? 0 : size)),
      Begin(0),
      Pos(0),
      End(data == nullptr ? 0 : size),
      WasClipped(false) {
    From->Problems = ScopedProblems;
}

PSDBoundedReader PSDBoundedReader::OpenFile(const char* name) {
    auto source = std::make_shared<Source>(nullptr, 0);
    source->Problems = ScopedProblems;
    int fd = name == nullptr ? -1 : open(name, O_RDONLY | O_CLOEXEC);
    struct stat info;
    if (fd < 0 || fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) || info.st_size <= 0) {
        if (fd >= 0) close(fd);
        return PSDBoundedReader(source, 0, 0, false);
    }
    source->Descriptor = fd;
    source->Size = static_cast<unsigned long>(info.st_size);
    // The walk touches a few bytes here and there across the whole file: a
    // mapping serves those without a system call each.
    void* mapping = mmap(nullptr, source->Size, PROT_READ, MAP_PRIVATE, fd, 0);
    if (mapping != MAP_FAILED) {
        source->Data = static_cast<const char*>(mapping);
        source->Mapped = true;
    } else {
        source->Size = 0;
    }
    return PSDBoundedReader(source, 0, source->Size, false);
}

PSDBoundedReader PSDBoundedReader::Sub(unsigned long n) const {
    bool fits = Has(n);
    return PSDBoundedReader(From, Pos, fits ? Pos + n : End, !fits);
}

PSDBoundedReader PSDBoundedReader::Take(unsigned long n) {
    PSDBoundedReader part = Sub(n);
    Pos = part.End;
    return part;
}

bool PSDBoundedReader::Read(char* destination, unsigned long n) {
    if (!Has(n)) return false;
    if (!From->Copy(Pos, destination, n)) {
        // The file ended before the size it showed.
        End = Pos;
        return false;
    }
    Pos += n;
    return true;
}

const char* PSDBoundedReader::Peek(unsigned long n) {
    if (!Has(n)) return nullptr;
    const char* bytes = From->Fetch(Pos, n == 0 ? 1 : n);
    if (bytes == nullptr) End = Pos;
    return bytes;
}

bool PSDBoundedReader::Skip(unsigned long n) {
    if (!Has(n)) return false;
    Pos += n;
    return true;
}

bool PSDBoundedReader::SeekTo(unsigned long offset) {
    if (offset > End - Begin) return false;
    Pos = Begin + offset;
    return true;
}

bool PSDBoundedReader::SeekToFileOffset(unsigned long offset) {
    if (offset < Begin || offset > End) return false;
    Pos = offset;
    return true;
}

bool PSDBoundedReader::ReadByte(unsigned char* value) {
    const char* b = Peek(1);
    if (b == nullptr) return false;
    *value = static_cast<unsigned char>(b[0]);
    ++Pos;
    return true;
}

bool PSDBoundedReader::ReadShort(unsigned short* value) {
    const char* b = Peek(2);
    if (b == nullptr) return false;
    PSDUtil::BufferToShort(b, value);
    Pos += 2;
    return true;
}

bool PSDBoundedReader::ReadLong(unsigned long* value) {
    const char* b = Peek(4);
    if (b == nullptr) return false;
    *value = LongAt(b);
    Pos += 4;
    return true;
}

unsigned long PSDBoundedReader::LongAt(const char* at) {
    unsigned long value = 0;
    PSDUtil::BufferToLong(at, &value);
    return value;
}

void PSDBoundedReader::SetReadAhead(unsigned long n) { From->ReadAhead = n < 16 ? 16 : n; }

bool PSDBoundedReader::Reporting() const { return From->Problems != nullptr; }

void PSDBoundedReader::Problem(const char* format, ...) const {
    if (From->Problems == nullptr) return;
    char line[256];
    va_list args;
    va_start(args, format);
    std::vsnprintf(line, sizeof(line), format, args);
    va_end(args);
    From->Note(line);
}

void PSDBoundedReader::SyncStream() const { From->Sync(Pos); }

PSDBoundedReader::ProblemScope::ProblemScope(std::vector<std::string>* problems, unsigned long budget)
    : Saved(ScopedProblems), SavedBudget(ScopedBudget) {
    ScopedProblems = problems;
    ScopedBudget = budget;
}

PSDBoundedReader::ProblemScope::~ProblemScope() {
    ScopedProblems = Saved;
    ScopedBudget = SavedBudget;
}

bool PSDBoundedReader::Charge(unsigned long bytes) {
    if (ScopedBudget == UNLIMITED) return true;
    if (bytes > ScopedBudget) return false;
    ScopedBudget -= bytes;
    return true;
}

void PSDBoundedReader::SetBudget(unsigned long bytes) { ScopedBudget = bytes; }

unsigned long PSDBoundedReader::Budget() { return ScopedBudget; }

}  // namespace psdkit
