// The image resources part of psdkit info.

#include <iostream>
#include <sstream>
#include <string>

#include "Cli.h"

namespace psdkit {
namespace cli {

namespace {

// Sends std::cout into a string for as long as it lives.
class CoutCapture {
public:
    CoutCapture() : Saved(std::cout.rdbuf(Buffer.rdbuf())) {}
    ~CoutCapture() { std::cout.rdbuf(Saved); }
    std::string Text() const { return Buffer.str(); }

private:
    std::ostringstream Buffer;
    std::streambuf* Saved;
};

// A Pascal name as printable text: bytes outside ASCII as \xHH.
std::string PrintableName(const char* name, unsigned length) {
    static const char digits[] = "0123456789ABCDEF";
    std::string text;
    for (unsigned i = 0; i < length; ++i) {
        unsigned char c = static_cast<unsigned char>(name[i]);
        if (c >= 0x20 && c < 0x7F && c != '\\' && c != '"') {
            text += static_cast<char>(c);
        } else {
            text += "\\x";
            text += digits[c >> 4];
            text += digits[c & 15];
        }
    }
    return text;
}

// The block's own report, each line indented. Its first line, the ID text
// already shown above it, is left out.
void PrintBlockReport(PSDResourceBlock* block, const std::string& indent) {
    std::string report;
    {
        CoutCapture capture;
        block->PrintInfo();
        report = capture.Text();
    }
    std::istringstream lines(report);
    std::string line;
    bool first = true;
    while (std::getline(lines, line)) {
        if (first && line == block->GetIDAsName()) {
            first = false;
            continue;
        }
        first = false;
        std::cout << indent << line << "\n";
    }
}

}  // namespace

void PrintResourcesReport(PSDImageRes* resources, bool raw) {
    for (unsigned long i = 0; i < resources->GetNumResourceBlocks(); ++i) {
        PSDResourceBlock* block = resources->GetResourceBlock(i);
        std::cout << "  [" << i << "] " << block->GetIDAsName() << " (ID " << block->GetResourceID() << "), data size "
                  << block->GetDataBlockSize();
        if (block->GetNameLength() != 0)
            std::cout << ", name \"" << PrintableName(block->GetName(), block->GetNameLength()) << "\"";
        std::cout << "\n";
        // The generic report repeats the line above.
        if (dynamic_cast<PSDGenericResourceBlock*>(block) == nullptr) PrintBlockReport(block, "      ");
        if (raw && block->GetDataBlock() != nullptr) {
            unsigned long size = block->GetDataBlockSize();
            if (size > block->GetDataBlockCapacity()) size = block->GetDataBlockCapacity();
            HexDump(block->GetDataBlock(), size, "      ");
        }
    }
}

}  // namespace cli
}  // namespace psdkit
