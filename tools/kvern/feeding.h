// Data between the session and streams.
#pragma once

#include "plan.h"
#include "session.h"
#include "workfile.h"

#include <functional>
#include <vector>

namespace command {

// All sources into the session's input, which is ended.
void feed(session &engine, std::vector<inputsource> &sources, const jobplan &plan);

// A sort's or merge's output to standard output; `look` runs after every call.
void draw(session &engine, const std::function<void()> &look);
void drawmerged(session &engine, const std::function<void()> &look);

// A file to standard output, and a stream into a file.
void drawfile(const std::string &path);
void takeinto(scratchfile &file, inputsource &source);

} // namespace command
