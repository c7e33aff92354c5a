// A parser by descent that builds a tree, and a walk that wires it.  Each test is an
// entry of the table, in the order of reading; and, or, not are only ways to say
// where a test leads.  Whatever the expression, one of the two outcomes of every test
// but the last leads to the very next one, so that an entry jumps once at most, and
// always forward.
//
//   a and (b or c)     0: a   true next      false drop
//                      1: b   true keep      false next
//                      2: c   true keep      false drop
#include "condition.h"

#include "fieldtypes.h"
#include "literals.h"
#include "report.h"

#include <algorithm>
#include <cctype>

namespace command {

namespace {

constexpr const char *option = "--where";
constexpr uint32_t widest = 256; // bytes that the engine compares
constexpr int deepest = 200;     // brackets and nots inside each other

struct opname {
    const char *text;
    uint8_t op;
};
constexpr opname ops[] = {
    // the longer ones first
    {"==", KVRN_OP_EQ}, {"!=", KVRN_OP_NE}, {"<>", KVRN_OP_NE}, {"<=", KVRN_OP_LE},
    {">=", KVRN_OP_GE}, {"=", KVRN_OP_EQ},  {"<", KVRN_OP_LT},  {">", KVRN_OP_GT},
};

// Types that compare with each other.
enum class kinship : uint8_t { none, text, decimal, separate, unsignedbinary, signedbinary, mask };
kinship kinof(uint8_t type) {
    switch (type) {
    case KVRN_CHAR:
    case KVRN_CHARX:
        return kinship::text;
    case KVRN_ZONED:
    case KVRN_ZONEDLEAD:
    case KVRN_PACKED:
        return kinship::decimal;
    case KVRN_SIGNLEAD:
    case KVRN_SIGNTRAIL:
        return kinship::separate;
    case KVRN_UBEBIN:
        return kinship::unsignedbinary;
    case KVRN_SBEBIN:
        return kinship::signedbinary;
    case KVRN_MASKBYTE:
        return kinship::mask;
    default:
        return kinship::none;
    }
}

struct field {
    uint32_t position = 0, length = 0;
    uint8_t type = KVRN_CHAR;
    uint32_t mask = 0;
    size_t at = 0; // in the expression
};

struct literal {
    bool isnumber = false;
    literaltext text;
    literalnumber number;
    size_t at = 0;
};

// Left and right are nodes, of a test its entry.
struct node {
    enum kindof : uint8_t { test, both, either, opposite } kind;
    size_t left, right;
    size_t first; // entry evaluated first
};

class parser {
  public:
    parser(const std::string &expression, const recordview &records)
        : text(expression), view(records) {}

    conditiontable run() {
        const size_t root = expression(0);
        if (!atend())
            fail("\"and\", \"or\" or the end is missing here");
        wire(root, keep, drop);
        return std::move(table);
    }

  private:
    static constexpr size_t keep = SIZE_MAX, drop = SIZE_MAX - 1;

    const std::string &text;
    const recordview &view;
    size_t at = 0;
    conditiontable table;
    std::vector<node> nodes;

    [[noreturn]] void fail(const std::string &why) const { refuseat(option, text, at, why); }
    [[noreturn]] void failat(size_t place, const std::string &why) const {
        refuseat(option, text, place, why);
    }

    // ---- words ----
    void skipblanks() {
        while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at])))
            ++at;
    }
    bool atend() {
        skipblanks();
        return at == text.size();
    }
    bool take(char c) {
        skipblanks();
        if (at == text.size() || text[at] != c)
            return false;
        ++at;
        return true;
    }
    void need(char c) {
        if (!take(c))
            fail(std::string("\"") + c + "\" is missing here");
    }
    bool takeword(const std::string &word) {
        skipblanks();
        const size_t end = at + word.size();
        if (text.compare(at, word.size(), word) != 0 ||
            (end < text.size() && std::isalnum(static_cast<unsigned char>(text[end]))))
            return false;
        at = end;
        return true;
    }
    uint32_t takenumber(const char *what) {
        skipblanks();
        const std::string digits = digitsat(text, at);
        uint32_t number;
        if (!parsenumber(digits, &number) || number == 0)
            fail(std::string("a ") + what + " from 1 up is missing here");
        at += digits.size();
        return number;
    }

    // ---- the tree ----
    size_t add(const node &one) {
        nodes.push_back(one);
        return nodes.size() - 1;
    }
    size_t join(node::kindof kind, size_t left, size_t right) {
        return add({kind, left, right, nodes[left].first});
    }
    size_t expression(int depth) {
        size_t left = term(depth);
        while (takeword("or"))
            left = join(node::either, left, term(depth));
        return left;
    }
    size_t term(int depth) {
        size_t left = factor(depth);
        while (takeword("and"))
            left = join(node::both, left, factor(depth));
        return left;
    }
    size_t negated(size_t one) { return add({node::opposite, one, one, nodes[one].first}); }
    size_t factor(int depth) {
        if (depth > deepest)
            fail("this is nested too deep");
        if (takeword("not"))
            return negated(factor(depth + 1));
        if (!take('('))
            return test();
        const size_t inner = expression(depth + 1);
        need(')');
        return inner;
    }
    size_t leaf(const KVRNSELE &entry) {
        table.entries.push_back(entry);
        const size_t number = table.entries.size() - 1;
        return add({node::test, number, number, number});
    }

    // ---- tests ----
    size_t test() {
        const field left = needfield();
        const bool inverse = takeword("not");
        if (takeword("in")) {
            const size_t any = oneof(left);
            return inverse ? negated(any) : any;
        }
        if (inverse)
            fail("\"in\" is missing here");
        if (takeword("between")) {
            const size_t low = leaf(against(left, KVRN_OP_GE, needliteral()));
            if (!takeword("and"))
                fail("\"and\" is missing here");
            return join(node::both, low, leaf(against(left, KVRN_OP_LE, needliteral())));
        }
        const uint8_t op = needop();
        field right;
        if (takefield(right))
            return leaf(against(left, op, right));
        return leaf(against(left, op, needliteral()));
    }
    size_t oneof(const field &left) {
        need('(');
        size_t any = leaf(against(left, KVRN_OP_EQ, needliteral()));
        while (take(','))
            any = join(node::either, any, leaf(against(left, KVRN_OP_EQ, needliteral())));
        need(')');
        return any;
    }
    uint8_t needop() {
        skipblanks();
        for (const opname &one : ops)
            if (text.compare(at, std::char_traits<char>::length(one.text), one.text) == 0) {
                at += std::char_traits<char>::length(one.text);
                return one.op;
            }
        fail("a comparison is missing here, as == or <");
    }

    // ---- fields ----
    field needfield() {
        field one;
        if (!takefield(one))
            fail(view.byfield ? "a field is missing here, as $3"
                              : "a field is missing here, as [1,8] or [21,6,pd]");
        return one;
    }
    // A bare number is a field when a comma follows it.
    bool takefield(field &out) {
        skipblanks();
        out.at = at;
        if (at == text.size())
            return false;
        const bool bracket = text[at] == '[';
        const size_t digits = digitsat(text, at).size();
        const bool bare = digits != 0 && text.compare(at + digits, 1, ",") == 0;
        if (text[at] != '$' && !bracket && !bare)
            return false;
        if ((text[at] == '$') != view.byfield)
            fail(view.byfield ? "fields of text are $F, give --columns for POS,LEN"
                              : "$F is a field of text, here fields are POS,LEN[,TYPE]");
        if (view.byfield)
            takenumbered(out);
        else
            takeplaced(out, bracket);
        return true;
    }
    void takenumbered(field &out) {
        ++at;
        out.position = takenumber("field number") - 1;
        table.lastfield = std::max(table.lastfield, out.position);
        out.length = at < text.size() && text[at] == ':' ? (++at, takenumber("width")) : widest;
        if (out.length > widest)
            failat(out.at, "a field is compared by " + std::to_string(widest) + " bytes at most");
    }
    void takeplaced(field &out, bool bracket) {
        if (bracket)
            ++at;
        out.position = takenumber("position") - 1;
        need(',');
        out.length = takenumber("length");
        std::string name = "ch";
        if (take(',')) {
            skipblanks();
            const size_t from = at;
            while (at < text.size() && std::islower(static_cast<unsigned char>(text[at])))
                ++at;
            name = text.substr(from, at - from);
        }
        settype(out, name);
        if (bracket)
            need(']');
        table.reach = std::max(table.reach, uint64_t{out.position} + out.length);
    }
    void settype(field &out, const std::string &name) {
        const fieldtype *type = findtype(name);
        if (!type || type->conditionmost == 0)
            failat(out.at, "types of conditions are ch ac ec zd zl sl st pd bi fi bit=MASK");
        if (view.text && (!type->intext || type->code != KVRN_CHAR))
            failat(out.at, "lines of text have ch fields only");
        if (name == (view.ebcdic() ? "ac" : "ec"))
            failat(out.at, "conditions compare in the data's own code, take ch");
        if (out.length < type->least || out.length > type->conditionmost)
            failat(out.at, "a " + name + " field of a condition has " +
                               std::to_string(type->least) + " to " +
                               std::to_string(type->conditionmost) + " bytes");
        out.type = type->code == KVRN_CHAR && view.ebcdic() ? uint8_t{KVRN_CHARX} : type->code;
        if (out.type != KVRN_MASKBYTE)
            return;
        need('=');
        skipblanks();
        const size_t from = at;
        while (at < text.size() && std::isalnum(static_cast<unsigned char>(text[at])))
            ++at;
        out.mask = parsemask(option, text.substr(from, at - from));
    }

    // ---- literals ----
    literal needliteral() {
        skipblanks();
        literal out;
        out.at = at;
        if (at < text.size() && readliteral(option, text, at, view.ebcdic(), out.text))
            return out;
        out.isnumber = true;
        out.number.negative = at < text.size() && text[at] == '-';
        if (at < text.size() && (text[at] == '-' || text[at] == '+'))
            ++at;
        out.number.digits = digitsat(text, at);
        if (out.number.digits.empty())
            fail("a field or a literal is missing here");
        at += out.number.digits.size();
        const size_t first = out.number.digits.find_first_not_of('0');
        out.number.digits.erase(0, first);
        out.number.negative = out.number.negative && !out.number.digits.empty();
        return out;
    }

    // ---- entries ----
    KVRNSELE entryof(const field &left, uint8_t op) const {
        KVRNSELE entry{};
        entry.op = op;
        // Zoned numbers compare by 166: the other code has forms that lose the sign.
        entry.ltype = left.type == KVRN_ZONED ? uint8_t{KVRN_ZONEDU} : left.type;
        entry.options = view.whitespace ? KVRN_TXT_SKIPBLANKS : 0;
        entry.lpos = left.position;
        entry.llen = left.type == KVRN_MASKBYTE ? left.mask : left.length;
        return entry;
    }
    KVRNSELE against(const field &left, uint8_t op, const field &right) const {
        KVRNSELE entry = entryof(left, op);
        entry.rtype = right.type == KVRN_ZONED ? uint8_t{KVRN_ZONEDU} : right.type;
        entry.rpos = right.position;
        entry.rlen = right.type == KVRN_MASKBYTE ? right.mask : right.length;
        const bool packed = left.type == KVRN_PACKED || right.type == KVRN_PACKED;
        const bool mixed = packed && left.type != right.type;
        if (mixed) { // packed compares with 162 alone
            entry.ltype = left.type;
            entry.rtype = right.type;
        }
        const bool lead = left.type == KVRN_ZONEDLEAD || right.type == KVRN_ZONEDLEAD;
        if (kinof(left.type) != kinof(right.type) || left.mask != right.mask || (mixed && lead))
            failat(right.at, "this field does not compare with one of the other's type");
        if (mixed && view.cdmode == KVRN_CD_OVERPUNCH)
            failat(right.at, "overpunched numbers do not compare with packed ones");
        return entry;
    }
    KVRNSELE against(const field &left, uint8_t op, const literal &right) {
        KVRNSELE entry = entryof(left, op);
        std::string bytes =
            right.isnumber ? bytesofnumber(left, right, entry) : bytesoftext(left, right);
        if (bytes.empty())
            bytes.push_back('\0'); // what an empty field is filled with
        if (bytes.size() > widest)
            failat(right.at, "a literal has " + std::to_string(widest) + " bytes at most");
        table.literals.push_back(std::move(bytes));
        entry.rtype = KVRN_FLD_LIT;
        entry.rlit = table.literals.back().data();
        entry.rlen = static_cast<uint32_t>(table.literals.back().size());
        return entry;
    }
    std::string bytesofnumber(const field &left, const literal &right, KVRNSELE &entry) const {
        const std::string digits = right.number.digits.empty() ? "0" : right.number.digits;
        if (view.text) {
            entry.options |= KVRN_TXT_NUMERIC;
            return (right.number.negative ? "-" : "") + digits;
        }
        if (kinof(left.type) == kinship::text)
            failat(right.at, "a ch field compares with text, put it in quotes");
        std::string bytes;
        if (!numberbytes(right.number, left.type, left.length, view.cdmode, bytes))
            failat(right.at, "this number does not fit the field");
        return bytes;
    }
    // Text is as long as its place: the engine compares the shorter length only.
    std::string bytesoftext(const field &left, const literal &right) const {
        std::string bytes = right.text.bytes;
        if (view.byfield)
            return bytes;
        if (bytes.size() > left.length)
            failat(right.at, "this is longer than the field");
        if (kinof(left.type) == kinship::text)
            bytes.resize(left.length, blankof(view.ebcdic()));
        else if (!right.text.hexadecimal || bytes.size() != left.length)
            failat(right.at, "a field of this type compares with a number");
        return bytes;
    }

    // ---- wiring ----
    void wire(size_t which, size_t iftrue, size_t iffalse) {
        const node one = nodes[which];
        switch (one.kind) {
        case node::opposite:
            wire(one.left, iffalse, iftrue);
            break;
        case node::both:
            wire(one.left, nodes[one.right].first, iffalse);
            wire(one.right, iftrue, iffalse);
            break;
        case node::either:
            wire(one.left, iftrue, nodes[one.right].first);
            wire(one.right, iftrue, iffalse);
            break;
        case node::test:
            KVRNSELE &entry = table.entries[one.left];
            lead(one.left, iftrue, entry.iftrue, entry.truejump);
            lead(one.left, iffalse, entry.iffalse, entry.falsejump);
            break;
        }
    }
    static void lead(size_t from, size_t to, uint8_t &outcome, uint32_t &jump) {
        if (to == keep || to == drop) {
            outcome = to == keep ? KVRN_GO_KEEP : KVRN_GO_DROP;
        } else if (to == from + 1) {
            outcome = KVRN_GO_NEXT;
        } else {
            outcome = KVRN_GO_JUMP;
            jump = static_cast<uint32_t>(to);
        }
    }
};

} // namespace

conditiontable parsecondition(const std::string &text, const recordview &view) {
    return parser(text, view).run();
}

} // namespace command
