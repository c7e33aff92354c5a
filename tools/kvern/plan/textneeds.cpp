#include "kvern/plan/textneeds.h"

#include <algorithm>

namespace command {

namespace {

// Some width is known only when all lines were looked at.
bool wantswidths(const jobplan &plan) {
    const auto any = [](const auto &fields, const auto &nowidth) {
        return std::any_of(fields.begin(), fields.end(), nowidth);
    };
    const auto nowidth = [](const auto &field) { return field.length == 0; };
    const auto copied = [](const rebuildpiece &one) { return !one.literal && one.length == 0; };
    if (!plan.view.byfield)
        return false;
    return plan.pieces.empty() ? any(plan.keys, nowidth) || any(plan.sums, nowidth)
                               : any(plan.pieces, copied);
}

} // namespace

bool wantsstrays(const jobplan &plan) {
    return plan.shape.end == lineend::crlf && !plan.shape.guessed && plan.kind == jobkind::merge;
}

std::shared_ptr<numbercheck> numbersof(const joboptions &options, const jobplan &plan) {
    auto numbers = std::make_shared<numbercheck>(plan.view, !plan.pieces.empty());
    for (const keyspec &key : plan.keys)
        numbers->addkey(key);
    for (const sumspec &sum : plan.sums)
        numbers->addsum(sum);
    if (plan.keys.empty() && plan.kind != jobkind::copy)
        numbers->addline(options.textoption);
    numbers->addconditions(plan.engine.conditions);
    if (numbers->idle())
        return nullptr;
    numbers->rebuild(plan.pieces, plan.joint);
    return numbers;
}

bool mustmeasure(const joboptions &options, const jobplan &plan) {
    return (options.maxline == 0 && plan.kind != jobkind::copy) || wantswidths(plan);
}

bool mustlook(const joboptions &options, const jobplan &started) {
    return started.view.text && (mustmeasure(options, started) || wantsstrays(started) ||
                                 numbersof(options, started) != nullptr);
}

} // namespace command
