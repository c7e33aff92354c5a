// keyindex FILE LENGTH KEY [RECORD]: keeps FILE.idx, an index of a file of fixed records of
// LENGTH bytes by a KEY: POSITION,LENGTH in characters, ",d" behind it where the order is
// descending.  Records that were appended since the last time are added.  Prints the records
// whose key is that of RECORD, which is filled with blanks, or all in the order of the key:
//   keyindex customers.dat 80 0,10 "Hansen"
// No record is put: the session is there to be asked for keys.
#include "kvern.hpp"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iostream>

namespace {

// The key, and behind it the record's number from 0, first byte highest: so one order is
// that of the keys, and of the file where they are equal.
using entries = std::vector<std::string>;
constexpr size_t numberbytes = 8;

std::string asbytes(uint64_t number) {
    std::string out;
    for (size_t i = numberbytes; i-- != 0;)
        out += static_cast<char>(number >> 8 * i);
    return out;
}
uint64_t numberof(const std::string &entry) {
    uint64_t number = 0;
    for (size_t i = entry.size() - numberbytes; i < entry.size(); ++i)
        number = number << 8 | static_cast<unsigned char>(entry[i]);
    return number;
}

kvern::key parse(const std::string &text) {
    unsigned position = 0, length = 0;
    char order = 'a';
    if (std::sscanf(text.c_str(), "%u,%u,%c", &position, &length, &order) < 2)
        throw std::invalid_argument("no key: " + text);
    const auto key = kvern::key::chars(position, length);
    return order == 'd' ? key.descending() : key;
}

// Nothing where the index is not there, or was made for another key.
entries load(const std::string &path, const std::string &head, size_t entrybytes) {
    std::ifstream file(path, std::ios::binary);
    entries out;
    std::string line, entry(entrybytes, '\0');
    if (std::getline(file, line) && line == head)
        while (file.read(entry.data(), static_cast<std::streamsize>(entrybytes)))
            out.push_back(entry);
    return out;
}

void store(const std::string &path, const std::string &head, const entries &index) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << head << '\n';
    for (const std::string &entry : index)
        file << entry;
    file.close();
    if (!file)
        throw std::runtime_error("cannot write " + path);
}

void run(const std::string &path, uint32_t length, const std::string &keytext, const char *wanted) {
    kvern::input session = kvern::fixed(length).by(parse(keytext)).open();
    std::string record(length, ' ');
    const size_t keybytes = session.key(record).size();
    const std::string head = std::to_string(length) + ' ' + keytext;
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw std::runtime_error("cannot read " + path);

    entries index = load(path + ".idx", head, keybytes + numberbytes);
    const auto known = static_cast<std::ptrdiff_t>(index.size());
    const auto seek = [&](uint64_t number) {
        file.clear();
        file.seekg(static_cast<std::streamoff>(number * length));
    };
    for (seek(index.size()); file.read(record.data(), length);)
        index.push_back(session.key(record) + asbytes(index.size()));
    std::sort(index.begin() + known, index.end());
    std::inplace_merge(index.begin(), index.begin() + known, index.end());
    store(path + ".idx", head, index);

    auto from = index.begin(), to = index.end();
    if (wanted != nullptr) {
        record.assign(wanted).resize(length, ' ');
        const std::string key = session.key(record);
        from = std::lower_bound(from, to, key);
        to = std::upper_bound(from, to, key + asbytes(UINT64_MAX));
    }
    for (; from != to; ++from) {
        seek(numberof(*from));
        if (!file.read(record.data(), length))
            throw std::runtime_error(path + " is shorter than when it was indexed");
        std::cout << record << '\n';
    }
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 4 && argc != 5) {
        std::cerr << "usage: keyindex FILE LENGTH POSITION,LENGTH[,d] [RECORD]\n";
        return 2;
    }
    try {
        run(argv[1], static_cast<uint32_t>(std::strtoul(argv[2], nullptr, 10)), argv[3], argv[4]);
    } catch (const std::exception &e) { // kvern::error among them
        std::cerr << "keyindex: " << e.what() << '\n';
        return 1;
    }
    return std::cout.flush() ? 0 : 1;
}
