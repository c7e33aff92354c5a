// A parser by descent that builds a tree, and a walk that wires it.  Each test is an
// entry of the table, in the order of reading; and, or, not are only ways to say
// where a test leads.  Whatever the expression, one of the two outcomes of every test
// but the last leads to the very next one, so that an entry jumps once at most, and
// always forward.
//
//   a and (b or c)     0: a   true next      false drop
//                      1: b   true keep      false next
//                      2: c   true keep      false drop
#include "kvern/syntax/condition.h"

#include "kvern/syntax/conditionfields.h"
#include "kvern/syntax/literals.h"

namespace command {

namespace {

constexpr int deepest = 200; // brackets and nots inside each other
constexpr size_t mosttests = 10000;

struct opname {
    const char *text;
    uint8_t op;
};
constexpr opname ops[] = {
    // the longer ones first
    {"==", KVRN_OP_EQ}, {"!=", KVRN_OP_NE}, {"<>", KVRN_OP_NE}, {"<=", KVRN_OP_LE},
    {">=", KVRN_OP_GE}, {"=", KVRN_OP_EQ},  {"<", KVRN_OP_LT},  {">", KVRN_OP_GT},
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

class parser : public fieldreader {
  public:
    using fieldreader::fieldreader;

    conditiontable run() {
        const size_t root = expression(0);
        if (!atend())
            fail("\"and\", \"or\" or the end is missing here");
        wire({root, keep, drop});
        return std::move(table);
    }

  private:
    static constexpr size_t keep = SIZE_MAX, drop = SIZE_MAX - 1;

    conditiontable table;
    std::vector<node> nodes;

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
        if (table.entries.size() == mosttests)
            fail("these are more than " + std::to_string(mosttests) + " tests");
        table.entries.push_back(entry);
        const size_t number = table.entries.size() - 1;
        return add({node::test, number, number, number});
    }

    // ---- tests ----
    size_t test() {
        const conditionfield left = needfield();
        const bool inverse = takeword("not");
        if (takeword("in")) {
            const size_t any = oneof(left);
            return inverse ? negated(any) : any;
        }
        if (inverse)
            fail("\"in\" is missing here");
        if (takeword("between")) {
            const size_t low = compare(left, KVRN_OP_GE, needliteral());
            if (!takeword("and"))
                fail("\"and\" is missing here");
            return join(node::both, low, compare(left, KVRN_OP_LE, needliteral()));
        }
        const uint8_t op = needop();
        conditionfield right;
        if (takefield(right))
            return leaf(against(left, op, right));
        return compare(left, op, needliteral());
    }
    // In text a zero with a minus lies just below the other one: one of them parts what
    // is less from what is not, both together are what equals zero.
    size_t compare(const conditionfield &left, uint8_t op, literal right) {
        const bool zero = view.text && right.isnumber && right.number.digits.empty() &&
                          right.number.decimals.empty();
        const bool equality = op == KVRN_OP_EQ || op == KVRN_OP_NE;
        if (zero && !equality)
            right.number.negative = op == KVRN_OP_GE || op == KVRN_OP_LT;
        const size_t one = leaf(against(left, op, right));
        if (!zero || !equality)
            return one;
        right.number.negative = true;
        return join(op == KVRN_OP_EQ ? node::either : node::both, one,
                    leaf(against(left, op, right)));
    }
    size_t oneof(const conditionfield &left) {
        need('(');
        size_t any = compare(left, KVRN_OP_EQ, needliteral());
        while (take(','))
            any = join(node::either, any, compare(left, KVRN_OP_EQ, needliteral()));
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

    // ---- literals ----
    literal needliteral() {
        skipblanks();
        literal out;
        out.at = at;
        if (at < text.size() && readliteral(source, text, at, view.ebcdic(), out.text))
            return out;
        out.isnumber = true;
        out.number.negative = at < text.size() && text[at] == '-';
        if (at < text.size() && (text[at] == '-' || text[at] == '+'))
            ++at;
        out.number.digits = digitsat(text, at);
        if (out.number.digits.empty())
            fail("a field or a literal is missing here");
        at += out.number.digits.size();
        takedecimals(out.number);
        const size_t first = out.number.digits.find_first_not_of('0');
        out.number.digits.erase(0, first);
        out.number.negative =
            out.number.negative && !(out.number.digits.empty() && out.number.decimals.empty());
        return out;
    }
    // Behind the digits of a number; zeros at the end say nothing.
    void takedecimals(literalnumber &number) {
        if (text.compare(at, 1, ".") != 0)
            return;
        if (!view.text)
            fail("numbers are whole ones here");
        number.decimals = digitsat(text, ++at);
        if (number.decimals.empty())
            fail("a digit is missing here");
        at += number.decimals.size();
        number.decimals.erase(number.decimals.find_last_not_of('0') + 1);
    }

    // ---- entries ----
    void reach(const conditionfield &one) {
        const uint32_t bytes = one.type == KVRN_MASKBYTE ? 1 : one.length;
        table.reach = std::max(table.reach, uint64_t{one.position} + bytes);
        table.lastfield = std::max(table.lastfield, one.position);
    }
    KVRNSELE entryof(const conditionfield &left, uint8_t op) {
        reach(left);
        KVRNSELE entry{};
        entry.op = op;
        // Zoned numbers compare by 166: the other code has forms that lose the sign.
        entry.ltype = left.type == KVRN_ZONED ? uint8_t{KVRN_ZONEDU} : left.type;
        entry.options = view.whitespace ? KVRN_TXT_SKIPBLANKS : 0;
        entry.lpos = left.position;
        entry.llen = left.type == KVRN_MASKBYTE ? left.mask : left.length;
        return entry;
    }
    KVRNSELE against(const conditionfield &left, uint8_t op, const conditionfield &right) {
        KVRNSELE entry = entryof(left, op);
        reach(right);
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
    KVRNSELE against(const conditionfield &left, uint8_t op, const literal &right) {
        KVRNSELE entry = entryof(left, op);
        std::string bytes =
            right.isnumber ? bytesofnumber(left, right, entry) : bytesoftext(left, right);
        if (bytes.empty())
            bytes.push_back('\0'); // what an empty field is filled with
        if (bytes.size() > widestoperand)
            failat(right.at, "a literal has " + std::to_string(widestoperand) + " bytes at most");
        table.literals.push_back(std::move(bytes));
        entry.rtype = KVRN_FLD_LIT;
        entry.rlit = table.literals.back().data();
        entry.rlen = static_cast<uint32_t>(table.literals.back().size());
        return entry;
    }
    std::string bytesofnumber(const conditionfield &left, const literal &right,
                              KVRNSELE &entry) const {
        const std::string digits = right.number.digits.empty() ? "0" : right.number.digits;
        if (view.text) {
            entry.options |= KVRN_TXT_NUMERIC;
            return (right.number.negative ? "-" : "") + digits +
                   (right.number.decimals.empty() ? "" : "." + right.number.decimals);
        }
        if (kinof(left.type) == kinship::text)
            failat(right.at, "a ch field compares with text, put it in quotes");
        std::string bytes;
        if (!numberbytes(right.number, left.type, left.length, view.cdmode, bytes))
            failat(right.at, "this number does not fit the field");
        return bytes;
    }
    // Text is as long as its place: the engine compares the shorter length only.
    std::string bytesoftext(const conditionfield &left, const literal &right) const {
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
    struct wish {
        size_t which, iftrue, iffalse;
    };
    // A list, since a chain of ors nests as deep as it is long.
    void wire(const wish &whole) {
        std::vector<wish> open{whole};
        while (!open.empty()) {
            const auto [which, iftrue, iffalse] = open.back();
            const node one = nodes[which];
            open.pop_back();
            switch (one.kind) {
            case node::opposite:
                open.push_back({one.left, iffalse, iftrue});
                break;
            case node::both:
                open.push_back({one.left, nodes[one.right].first, iffalse});
                open.push_back({one.right, iftrue, iffalse});
                break;
            case node::either:
                open.push_back({one.left, iftrue, nodes[one.right].first});
                open.push_back({one.right, iftrue, iffalse});
                break;
            case node::test:
                KVRNSELE &entry = table.entries[one.left];
                lead(one.left, iftrue, entry.iftrue, entry.truejump);
                lead(one.left, iffalse, entry.iffalse, entry.falsejump);
                break;
            }
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

conditiontable parsecondition(const conditiontext &what, const recordview &view,
                              const layout &names) {
    return parser(what.text, what.source, view, names).run();
}

conditiontext readcondition(const std::string &path) {
    conditiontext out{readtext(path), path};
    bool comment = false, blank = true;
    for (char &c : out.text) {
        if (c == '\n') {
            comment = false;
            blank = true;
            continue;
        }
        comment = comment || (blank && c == '#');
        blank = blank && (c == ' ' || c == '\t');
        if (comment)
            c = ' '; // so that places stay
    }
    return out;
}

} // namespace command
