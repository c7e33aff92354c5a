// The conversion tables a second time, typed independently of the engine's, so
// that a slip in either shows.
#include "model/codetables.h"

#include <initializer_list>
#include <utility>

namespace kvern::test {

namespace {

constexpr const char *ebcdic_ascii = "000102031A091A7F1A1A1A0B0C0D0E0F"
                                     "101112131A1A081A18191A1A1C1D1E1F"
                                     "1A1A1A1A1A0A171B1A1A1A1A1A050607"
                                     "1A1A161A1A1A1A041A1A1A1A14151A1A"
                                     "201A1A1A1A1A1A1A1A1A5B2E3C282B21"
                                     "261A1A1A1A1A1A1A1A1A5D242A293B5E"
                                     "2D2F1A1A1A1A1A1A1A1A7C2C255F3E3F"
                                     "1A1A1A1A1A1A1A1A1A603A2340273D22"
                                     "1A6162636465666768691A1A1A1A1A1A"
                                     "1A6A6B6C6D6E6F7071721A1A1A1A1A1A"
                                     "1A7E737475767778797A1A1A1A1A1A1A"
                                     "1A1A1A1A1A1A1A1A1A1A1A1A1A1A1A1A"
                                     "7B4142434445464748491A1A1A1A1A1A"
                                     "7D4A4B4C4D4E4F5051521A1A1A1A1A1A"
                                     "5C1A535455565758595A1A1A1A1A1A1A"
                                     "303132333435363738391A1A1A1A1A1A";

constexpr const char *ebcdic_kana = "000102039C09867F978D8E0B0C0D0E0F"
                                    "101112139D1A08871819928F1C1D1E1F"
                                    "80818283840A171B88898A8B8C050607"
                                    "909116939495960498999A9B14159E1A"
                                    "20A1A2A3A4A5A6A7A8A95B2E3C282B21"
                                    "26AAABACADAEAF1AB01A5D5C2A293B5E"
                                    "2D2F1A1A1A1A1A1A1A1A7C2C255F3E3F"
                                    "1A1A1A1A1A1A1A1A1A603A2340273D22"
                                    "1AB1B2B3B4B5B6B7B8B9BA1ABBBCBDBE"
                                    "BFC0C1C2C3C4C5C6C7C8C91A1ACACBCC"
                                    "1A7ECDCECFD0D1D2D3D4D51AD6D7D8D9"
                                    "1A1A1A1A1A1A1A1AE0E1DADBDCDDDEDF"
                                    "7B414243444546474849E8E9EAEBECED"
                                    "7D4A4B4C4D4E4F505152EEEFF0F1F2F3"
                                    "249F535455565758595AF4F5F6F7F8F9"
                                    "30313233343536373839FAFBFCFDFE1A";

constexpr const char *ascii_ebcdic = "00010203372D2E2F1605250B0C0D0E0F"
                                     "101112133C3D322618193F271C1D1E1F"
                                     "404F7F7B5B6C507D4D5D5C4E6B604B61"
                                     "F0F1F2F3F4F5F6F7F8F97A5E4C7E6E6F"
                                     "7CC1C2C3C4C5C6C7C8C9D1D2D3D4D5D6"
                                     "D7D8D9E2E3E4E5E6E7E8E94AE05A5F6D"
                                     "79818283848586878889919293949596"
                                     "979899A2A3A4A5A6A7A8A9C06AD0A107"
                                     "3F3F3F3F3F3F3F3F3F3F3F3F3F3F3F3F"
                                     "3F3F3F3F3F3F3F3F3F3F3F3F3F3F3F3F"
                                     "3F3F3F3F3F3F3F3F3F3F3F3F3F3F3F3F"
                                     "3F3F3F3F3F3F3F3F3F3F3F3F3F3F3F3F"
                                     "3F3F3F3F3F3F3F3F3F3F3F3F3F3F3F3F"
                                     "3F3F3F3F3F3F3F3F3F3F3F3F3F3F3F3F"
                                     "3F3F3F3F3F3F3F3F3F3F3F3F3F3F3F3F"
                                     "3F3F3F3F3F3F3F3F3F3F3F3F3F3F3FFF";

constexpr const char *kana_ebcdic = "00010203372D2E2F1605250B0C0D0E0F"
                                    "101112133C3D322618193F271C1D1E1F"
                                    "404F7F7BE06C507D4D5D5C4E6B604B61"
                                    "F0F1F2F3F4F5F6F7F8F97A5E4C7E6E6F"
                                    "7CC1C2C3C4C5C6C7C8C9D1D2D3D4D5D6"
                                    "D7D8D9E2E3E4E5E6E7E8E94A5B5A5F6D"
                                    "793F3F3F3F3F3F3F3F3F3F3F3F3F3F3F"
                                    "3F3F3F3F3F3F3F3F3F3F3FC06AD0A107"
                                    "20212223243F061728292A2B3F090A1B"
                                    "30311A333435360837393A3B04143E3F"
                                    "3F414243444546474849515253545556"
                                    "588182838485868788898A8C8D8E8F90"
                                    "9192939495969798999A9D9E9FA2A3A4"
                                    "A5A6A7A8A9AAACADAEAFBABBBCBDBEBF"
                                    "B8B93F3F3F3F3F3FCACBCCCDCECFDADB"
                                    "DCDDDEDFEAEBECEDEEEFFAFBFCFDFEFF";

bytes unhex(const std::string &digits) {
    bytes out;
    for (size_t i = 0; i < digits.size(); i += 2) {
        out += static_cast<char>(std::stoul(digits.substr(i, 2), nullptr, 16));
    }
    return out;
}

// The variant that exchanges the places of the currency signs.
bytes exchanged(bytes table, std::initializer_list<std::pair<uint8_t, uint8_t>> changes) {
    for (const auto &[at, value] : changes) {
        table[at] = static_cast<char>(value);
    }
    return table;
}

} // namespace

const bytes &ebcdic_to_ascii(unsigned altmode) {
    static const bytes tables[] = {
        unhex(ebcdic_ascii), unhex(ebcdic_kana),
        exchanged(unhex(ebcdic_ascii), {{0x2C, 0xA1}, {0x5B, 0x5C}, {0xE0, 0x24}})};
    return tables[altmode];
}

const bytes &ascii_to_ebcdic(unsigned altmode) {
    static const bytes tables[] = {unhex(ascii_ebcdic), unhex(kana_ebcdic),
                                   exchanged(unhex(ascii_ebcdic), {{0x24, 0xE0}, {0x5C, 0x5B}})};
    return tables[altmode];
}

bytes translated(bytes text, const bytes &table) {
    for (char &c : text) {
        c = table[static_cast<unsigned char>(c)];
    }
    return text;
}

} // namespace kvern::test
