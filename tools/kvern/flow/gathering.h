// Small pieces of an output on their way, in calls of some size.
#pragma once

#include <algorithm>
#include <functional>
#include <string>
#include <utility>

namespace command {

class gathering {
  public:
    using writer = std::function<void(const void *, size_t)>;
    explicit gathering(writer to) : out(std::move(to)) { held.reserve(most); }

    void write(const void *data, size_t length) {
        if (held.size() + length > limit)
            flush();
        if (length > limit)
            out(data, length);
        else
            held.append(static_cast<const char *>(data), length);
    }
    void flush() {
        if (!held.empty())
            out(held.data(), held.size());
        held.clear();
        limit = std::min(2 * limit, most);
    }

  private:
    static constexpr size_t most = size_t{128} << 10;
    writer out;
    size_t limit = size_t{16} << 10; // grows: a short output touches few pages
    std::string held;
};

} // namespace command
