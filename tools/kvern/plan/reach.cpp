#include "kvern/plan/reach.h"

#include "kvern/system/failure.h"

#include <algorithm>

namespace command {

namespace {

struct reachcheck {
    std::string name;
    uint64_t reach;
    uint32_t message, detail; // that the engine would give
};

// As the number is spoken: an 8-byte, an 11-byte, an 80-byte record.
const char *article(uint64_t number) {
    const std::string digits = std::to_string(number);
    const bool teen =
        (digits.rfind("11", 0) == 0 || digits.rfind("18", 0) == 0) && digits.size() % 3 == 2;
    return digits[0] == '8' || teen ? "an " : "a ";
}

void check(const reachcheck &field, uint64_t length, const std::string &record,
           const std::string &advice) {
    if (field.reach > length)
        throw failure{ending::usage,
                      field.name + " reaches byte " + std::to_string(field.reach) + " of " +
                          article(length) + std::to_string(length) + "-byte " + record,
                      advice, field.message, field.detail};
}

void checkfields(const jobplan &plan, uint64_t length, const std::string &record,
                 const std::string &advice) {
    for (const keyspec &key : plan.keys)
        check({key.name, key.reach(), 7, 59}, length, record, "shorten the key or " + advice);
    for (const sumspec &sum : plan.sums)
        check({sum.name, sum.reach(), 8, 60}, length, record, "shorten the sum or " + advice);
}

} // namespace

uint32_t rebuiltlength(const jobplan &plan) {
    uint64_t length = 0;
    for (const rebuildpiece &piece : plan.pieces)
        length = std::min<uint64_t>(length + piece.length, UINT32_MAX);
    return static_cast<uint32_t>(length);
}

void checkreaches(const jobplan &plan, uint64_t length, const std::string &word,
                  const std::string &raise) {
    check({"--where", plan.engine.conditions.reach, 10, 63}, length, word, raise);
    check({"--rebuild", piecereach(plan), 9, 64}, length, word, raise);
    if (plan.pieces.empty())
        checkfields(plan, length, word, raise);
    else
        checkfields(plan, rebuiltlength(plan), "rebuilt " + word, "look at --rebuild");
}

uint64_t piecereach(const jobplan &plan) {
    uint64_t reach = 0;
    for (const rebuildpiece &piece : plan.pieces)
        if (!piece.literal)
            reach = std::max(reach, uint64_t{piece.position} + piece.length);
    return reach;
}

// Sums stop at a record that is too short for them, and ask 4 bytes more of a variable
// one; they count only where such records are to be left out.
void needleast(jobplan &plan) {
    textform &form = plan.form;
    form.least = plan.engine.conditions.reach;
    form.leastname = "--where";
    if (piecereach(plan) > form.least) {
        form.least = piecereach(plan);
        form.leastname = "--rebuild";
    }
    const uint64_t more = plan.shape.kind == formkind::variable ? 4 : 0;
    for (const sumspec &sum : plan.sums)
        if (form.dropshort && plan.pieces.empty())
            form.least = std::max(form.least, sum.reach() + more);
}

} // namespace command
