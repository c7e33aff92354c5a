#include "indexhead.h"

#include "byteorder.h"
#include "cobolfile.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace fmgr {

namespace {

constexpr size_t headerlength = 256;
constexpr size_t entrylength = 36;
constexpr size_t blockhead = 6; // what every block begins with
constexpr uint32_t smallestblock = headerlength + entrylength;
constexpr uint32_t largestnumber = 0xFFFF; // of a header value of two bytes
constexpr uint32_t longestpart = 254;
constexpr size_t mostparts = 255;
constexpr size_t partlength = 4; // of a key part in a request

constexpr uint8_t headtype = 1, datatype = 2;
constexpr uint8_t pt_duplicates = 0x10, pt_more = 0x20; // flags of a part in a request
constexpr uint8_t en_duplicates = 1, en_more = 2;       // and of an entry

constexpr uint8_t magic[] = {'R', 'M', 'K', 'F'};
constexpr uint8_t ownmark[] = {'K', 'F', 'M', '1'}; // this manager's data blocks
constexpr uint8_t formatversion = 1;                // bytes 105 and 107

// Places in the header; those from 116 on are the manager's own.
enum place : size_t {
    at_type = 1,
    at_next = 2,
    at_magic = 6,
    at_shortest = 16,
    at_longest = 18,
    at_attribute0 = 20,
    at_attribute1 = 23,
    at_partcount = 25,
    at_blocksize = 26,
    at_lastblock = 42,
    at_version0 = 105,
    at_version1 = 107,
    at_ownmark = 116,
    at_records = 120,
    at_recordbytes = 128,
    at_crc = 252,
};

constexpr std::array<uint32_t, 256> crctable = [] {
    std::array<uint32_t, 256> table{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t value = i;
        for (int bit = 0; bit < 8; ++bit)
            value = (value >> 1) ^ ((value & 1) != 0 ? 0xEDB88320U : 0U);
        table[i] = value;
    }
    return table;
}();

uint32_t crcover(uint32_t value, const uint8_t *from, const uint8_t *end) {
    for (; from != end; ++from)
        value = (value >> 8) ^ crctable[(value ^ *from) & 0xFF];
    return value;
}

// Of all bytes but the four that hold it.
uint32_t crcof(const std::vector<uint8_t> &bytes, size_t hole) {
    const uint8_t *first = bytes.data();
    const uint32_t before = crcover(~0U, first, first + hole);
    return ~crcover(before, first + hole + 4, first + bytes.size());
}

size_t entriesin(size_t block, uint32_t blocksize) {
    return (blocksize - (block == 0 ? headerlength : blockhead)) / entrylength;
}

// Where entry i of the head lies.
size_t entryplace(size_t i, uint32_t blocksize) {
    const size_t first = entriesin(0, blocksize);
    if (i < first)
        return headerlength + i * entrylength;
    const size_t each = entriesin(1, blocksize);
    return (1 + (i - first) / each) * blocksize + blockhead + (i - first) % each * entrylength;
}

} // namespace

uint32_t keydef::length() const {
    uint32_t sum = 0;
    for (const keypart &part : parts)
        sum += part.length;
    return sum;
}

void keydef::extract(const uint8_t *record, uint8_t *to) const {
    for (const keypart &part : parts)
        to = std::copy_n(record + part.position, part.length, to);
}

uint32_t indexhead::headblocks() const {
    const size_t last = keyparts.size() / partlength - 1;
    return static_cast<uint32_t>(entryplace(last, blocksize) / blocksize + 1);
}

uint32_t indexhead::payload() const {
    return blocksize - datahead;
}

uint64_t indexhead::datablocks() const {
    const uint64_t bytes = recordbytes + records * sizeof(uint64_t);
    return bytes / payload() + (bytes % payload() != 0 ? 1 : 0);
}

std::vector<keydef> indexhead::keys() const {
    std::vector<keydef> out;
    bool more = false;
    for (size_t i = 0; i + partlength <= keyparts.size(); i += partlength) {
        const uint8_t *at = &keyparts[i];
        const keypart part = {static_cast<uint32_t>(littleendian(at + 2, 2)), at[0]};
        if (part.length == 0 || part.length > longestpart ||
            part.position + part.length > longest || (at[1] & ~(pt_duplicates | pt_more)) != 0)
            fail(status::conflict);
        if (!more)
            out.push_back({});
        out.back().parts.push_back(part);
        out.back().duplicates = (at[1] & pt_duplicates) != 0; // the last part's holds
        more = (at[1] & pt_more) != 0;
    }
    if (more || out.empty())
        fail(status::conflict);
    return out;
}

void checkhead(const indexhead &head) {
    const auto attribute = [](uint32_t value) { return value == 1 || value == 2; };
    const size_t parts = head.keyparts.size() / partlength;
    if (head.shortest > head.longest || head.longest == 0 || head.longest > largestnumber ||
        !attribute(head.attributes[0]) || !attribute(head.attributes[1]) ||
        head.keyparts.size() % partlength != 0 || parts == 0 || parts > mostparts ||
        head.blocksize < smallestblock || head.blocksize > largestnumber)
        fail(status::conflict);
    (void)head.keys();
}

std::vector<uint8_t> encodehead(const indexhead &head) {
    const uint32_t blocks = head.headblocks();
    std::vector<uint8_t> out(size_t{blocks} * head.blocksize);
    for (uint32_t i = 0; i < blocks; ++i) {
        uint8_t *block = &out[size_t{i} * head.blocksize];
        block[at_type] = headtype;
        putbig(block + at_next, 4, i + 1 < blocks ? i + 1 : 0);
    }
    std::copy_n(magic, sizeof magic, &out[at_magic]);
    putbig(&out[at_shortest], 2, head.shortest);
    putbig(&out[at_longest], 2, head.longest);
    out[at_attribute0] = static_cast<uint8_t>(head.attributes[0]);
    out[at_attribute1] = static_cast<uint8_t>(head.attributes[1]);
    out[at_partcount] = static_cast<uint8_t>(head.keyparts.size() / partlength);
    putbig(&out[at_blocksize], 2, head.blocksize);
    putbig(&out[at_lastblock], 4, blocks + head.datablocks() - 1);
    out[at_version0] = out[at_version1] = formatversion;
    std::copy_n(ownmark, sizeof ownmark, &out[at_ownmark]);
    putbig(&out[at_records], 8, head.records);
    putbig(&out[at_recordbytes], 8, head.recordbytes);
    for (size_t i = 0; i * partlength < head.keyparts.size(); ++i) {
        const uint8_t *part = &head.keyparts[i * partlength];
        uint8_t *entry = &out[entryplace(i, head.blocksize)];
        putbig(entry, 2, littleendian(part + 2, 2));
        putbig(entry + 2, 2, part[0]);
        entry[4] = static_cast<uint8_t>(((part[1] & pt_duplicates) != 0 ? en_duplicates : 0) |
                                        ((part[1] & pt_more) != 0 ? en_more : 0));
    }
    putbig(&out[at_crc], 4, crcof(out, at_crc));
    return out;
}

indexhead readhead(const inputfile &file) {
    uint8_t header[headerlength];
    if (file.size() < sizeof header)
        fail(status::conflict);
    file.readat(0, header, sizeof header);
    if (std::memcmp(header + at_magic, magic, sizeof magic) != 0 ||
        std::memcmp(header + at_ownmark, ownmark, sizeof ownmark) != 0)
        fail(status::conflict);
    indexhead head = {};
    head.shortest = static_cast<uint32_t>(bigendian(header + at_shortest, 2));
    head.longest = static_cast<uint32_t>(bigendian(header + at_longest, 2));
    head.attributes[0] = header[at_attribute0];
    head.attributes[1] = header[at_attribute1];
    head.blocksize = static_cast<uint32_t>(bigendian(header + at_blocksize, 2));
    head.records = bigendian(header + at_records, 8);
    head.recordbytes = bigendian(header + at_recordbytes, 8);
    head.keyparts.resize(size_t{header[at_partcount]} * partlength);
    if (head.blocksize < smallestblock || head.keyparts.empty() || head.recordbytes > file.size() ||
        head.records > file.size())
        fail(status::failed);
    const uint64_t headbytes = uint64_t{head.headblocks()} * head.blocksize;
    if (file.size() != headbytes + head.datablocks() * head.blocksize)
        fail(status::failed);
    std::vector<uint8_t> blocks(static_cast<size_t>(headbytes));
    file.readat(0, blocks.data(), blocks.size());
    for (size_t i = 0; i * partlength < head.keyparts.size(); ++i) {
        const uint8_t *entry = &blocks[entryplace(i, head.blocksize)];
        uint8_t *part = &head.keyparts[i * partlength];
        part[0] = entry[3];
        part[1] = static_cast<uint8_t>(((entry[4] & en_duplicates) != 0 ? pt_duplicates : 0) |
                                       ((entry[4] & en_more) != 0 ? pt_more : 0));
        putlittle(part + 2, 2, bigendian(entry, 2));
    }
    checkhead(head);
    // Whatever else the blocks hold is what this manager writes, or they are damaged.
    if (encodehead(head) != blocks)
        fail(status::failed);
    return head;
}

std::vector<uint8_t> newdatablock(const indexhead &head) {
    return std::vector<uint8_t>(head.blocksize);
}

void sealdatablock(std::vector<uint8_t> &block, uint64_t number) {
    block[at_type] = datatype;
    putbig(&block[at_next], 4, number);
    putbig(&block[blockhead], 4, crcof(block, blockhead));
}

bool soundblock(const std::vector<uint8_t> &block, uint64_t number) {
    return block[at_type] == datatype && bigendian(&block[at_next], 4) == number &&
           bigendian(&block[blockhead], 4) == crcof(block, blockhead);
}

} // namespace fmgr
