// Sessions that only tell keys, or whether the filter keeps a record.
#pragma once

#include "kvern/plan/jobplan.h"

namespace command {

// Of any job.  Such a session takes no records.
description probing(const jobplan &plan);

// What of a record goes into a session.
inline std::string_view givenof(const jobplan &plan, std::string_view raw, std::string_view data) {
    return plan.view.text ? raw : data;
}

} // namespace command
