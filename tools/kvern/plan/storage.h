#pragma once
#include "kvern/options/joboptions.h"
namespace command {
struct storageplan {
    unsigned jobs = 1;
    size_t sessions = 1;
    uint32_t memory = 0;
};
storageplan planstorage(const joboptions &options, uint64_t bytes, size_t inputs);
}
