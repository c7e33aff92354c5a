// The run-time's own header, which counts on its includer for what it uses.
#pragma once

#include <cstddef>

#include <libcob.h>
