// Small pieces of an output on their way, in calls of some size.
#pragma once

#include <functional>
#include <string>
#include <utility>

namespace command {

class gathering {
  public:
    using writer = std::function<void(const void *, size_t)>;
    explicit gathering(writer to) : out(std::move(to)) {}

    void write(const void *data, size_t length) {
        if (held.size() + length > most)
            flush();
        if (length > most)
            out(data, length);
        else
            held.append(static_cast<const char *>(data), length);
    }
    void flush() {
        if (!held.empty())
            out(held.data(), held.size());
        held.clear();
    }

  private:
    static constexpr size_t most = size_t{128} << 10;
    writer out;
    std::string held;
};

} // namespace command
