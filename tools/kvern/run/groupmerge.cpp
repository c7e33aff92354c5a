#include "kvern/run/groupmerge.h"

#include "kvern/plan/plan.h"
#include "kvern/plan/reach.h"

#include <algorithm>

namespace command {

namespace {

recordshape shapebehind(const jobplan &plan) {
    recordshape shape = plan.shape;
    if (!plan.pieces.empty() && !plan.view.text)
        shape.length = rebuiltlength(plan);
    return shape;
}

// Records in scratch files are chosen and rebuilt already.
joboptions behindgroups(joboptions how, const jobplan &plan) {
    how.where.clear();
    how.wherefile.clear();
    how.wheregiven = how.dropshort = false;
    how.header = 0;
    if (!how.rebuildgiven)
        return how;
    how.rebuildgiven = false;
    how.rebuild.clear();
    how.maxline = 0;
    (how.fixed != 0 ? how.fixed : how.variable) = plan.view.text ? 0 : rebuiltlength(plan);
    return how;
}

class groupmerge {
  public:
    groupmerge(const joboptions &given, std::vector<inputsource> &inputs, const jobplan &planned,
               watch &looker, size_t descriptors)
        : options(given), sources(inputs), plan(planned), seen(looker),
          most(std::max<size_t>(descriptors / 2, 2)) {
        options.unique = false;
        options.sums.clear();
        plan.engine.prim.options &= static_cast<uint8_t>(~(KVRN_SUM | KVRN_SUPPRESS));
        plan.engine.sums.clear();
        plan.tofile = false;
        plan.engine.outfile.clear();
        plan.byfile = plan.byfile && !options.dropshort;
    }
    // All sources into no more scratch files than may be open twice.
    void run() {
        for (size_t at = 0; at < sources.size();) {
            if (made.size() == most)
                fold();
            std::vector<inputsource> group;
            for (; at < sources.size() && group.size() < most; ++at)
                group.push_back(std::move(sources[at]));
            seen.count(true, false);
            merge(options, group, plan, nullptr);
        }
        seen.count(false, true);
    }
    // What is left to do is planned as a merge of its own.
    std::vector<inputsource> parts() const {
        std::vector<inputsource> all;
        for (const scratchfile &one : made) {
            all.emplace_back(one.path());
            if (options.doseof)
                all.back().endatmark();
            all.back().standfor(one.path());
        }
        return all;
    }
    const intakefacts &taken() const { return facts; }

  private:
    joboptions options;
    std::vector<inputsource> &sources;
    jobplan plan;
    watch &seen;
    size_t most;
    scratchfiles made;
    intakefacts facts;

    void merge(const joboptions &how, std::vector<inputsource> &group, jobplan part,
               const intakefacts *before) {
        planmerge(how, group.size(), part);
        part.engine.infiles.clear();
        part.engine.inkinds.clear();
        if (part.byfile)
            listinputs(part, group, how.doseof);
        const std::string none;
        job one(how, group, part, seen, none, 0, before);
        scratchfile &file = made.emplace_back(how.tempdirs);
        one.runinto(file);
        if (before != nullptr)
            return;
        const intakefacts read = one.taken();
        facts.header += read.header;
        facts.shorts += read.shorts;
        facts.bytes += read.bytes;
        facts.largestblock = std::max(facts.largestblock, read.largestblock);
    }
    void fold() {
        std::vector<inputsource> group = parts();
        const joboptions how = behindgroups(options, plan);
        jobplan part = planjob(how, shapebehind(plan), group, false);
        seen.count(false, false);
        merge(how, group, part, &facts);
        while (made.size() > 1)
            made.pop_front();
    }
};

} // namespace

void mergegroups(const joboptions &options, std::vector<inputsource> &sources, const jobplan &plan,
                 watch &seen, outputsink &target, const std::string &header, size_t descriptors) {
    groupmerge groups(options, sources, plan, seen, descriptors);
    groups.run();
    const joboptions how = behindgroups(options, plan);
    std::vector<inputsource> parts = groups.parts();
    jobplan last = planjob(how, shapebehind(plan), parts, plan.replaced && header.empty());
    last.replaced = plan.replaced;
    job(how, parts, last, seen, header, 0, &groups.taken()).run(&target);
}

} // namespace command
