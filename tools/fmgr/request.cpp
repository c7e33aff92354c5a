#include "request.h"

#include "byteorder.h"

#include <cerrno>
#include <new>

namespace fmgr {

namespace {

enum requestcode : uint32_t {
    rq_open = 1,
    rq_close = 3,
    rq_read = 10,
    rq_writeindexed = 14,
    rq_write = 15,
    rq_start = 16,
    rq_end = 17,
};

// Bits of the open flags, which are sent as four bytes or as one number.
constexpr uint32_t of_output = 0x80, of_variable = 0x400000;

constexpr size_t handlelength = 8;

struct malformed {}; // thrown: no reply

struct way {
    organisation kind;
    std::unique_ptr<reader> (*read)(const opening &);
    std::unique_ptr<writer> (*write)(const opening &);
    uint32_t writerequest;
    status afterend; // what a read gets that follows the one which met the end
};

constexpr way ways[] = {
    {organisation::sequential, readsequential, writesequential, rq_write, status::atend},
    {organisation::relative, readrelative, writerelative, rq_write, status::pastend},
    {organisation::indexed, readindexed, writeindexed, rq_writeindexed, status::pastend},
};

// One request on its way to its reply.
struct exchange {
    const message &request;
    session &in;
    uint8_t *data;
    // The reply:
    uint64_t handle = 0; // 0: none to tell
    uint32_t length = 0;
    bool haslength = false;
    uint32_t organisation = 0; // likewise
};

parameter need(const message &from, uint32_t number) {
    const auto found = from.find(number);
    if (!found)
        throw malformed{};
    return *found;
}

const way &wayof(const message &request) {
    const uint32_t kind = need(request, pm_organisation).number;
    for (const way &each : ways)
        if (kind == static_cast<uint32_t>(each.kind))
            return each;
    throw malformed{};
}

uint64_t handleof(const message &request) {
    const parameter sent = need(request, pm_handle);
    return sent.length == handlelength ? littleendian(sent.bytes, handlelength) : 0;
}

// The open file that the request is about; `otherwise` where there is none.
openfile &fileof(const exchange &x, status otherwise) {
    const organisation kind = wayof(x.request).kind;
    const auto found = x.in.files.find(handleof(x.request));
    if (found == x.in.files.end() || found->second.kind != kind)
        fail(otherwise);
    return found->second;
}

std::string pathof(const message &request) {
    const parameter sent = need(request, pm_path);
    std::string path(reinterpret_cast<const char *>(sent.bytes), sent.length);
    if (path.empty() || path.find('\0') != std::string::npos)
        fail(status::badname);
    return path;
}

opening openingof(const message &request, organisation kind) {
    const uint32_t flags = need(request, pm_openflags).number;
    opening how = {};
    how.path = pathof(request);
    how.output = (flags & of_output) != 0;
    how.variable = (flags & of_variable) != 0;
    how.longest = need(request, pm_longest).number;
    if (kind != organisation::indexed || !how.output)
        return how; // a file that is there knows the rest itself
    how.shortest = need(request, pm_shortest).number;
    const parameter parts = need(request, pm_keyparts);
    how.keyparts.assign(parts.bytes, parts.bytes + parts.length);
    how.blocksize = need(request, pm_blocksize).number;
    how.attributes[0] = need(request, pm_attribute0).number;
    how.attributes[1] = need(request, pm_attribute1).number;
    return how;
}

void open(exchange &x) {
    const way &how = wayof(x.request);
    const opening what = openingof(x.request, how.kind);
    openfile file = {how.kind, nullptr, nullptr};
    if (what.output)
        file.out = how.write(what);
    else
        file.in = how.read(what);
    const uint64_t handle = newhandle();
    x.in.files.emplace(handle, std::move(file));
    x.handle = handle;
    x.organisation = static_cast<uint32_t>(how.kind);
}

void close(exchange &x) {
    (void)fileof(x, status::notopen);
    const auto node = x.in.files.extract(handleof(x.request)); // closed, whatever comes
    const openfile &file = node.mapped();
    if (file.broken)
        fail(status::failed);
    if (file.out && !x.in.failed)
        file.out->commit();
}

void read(exchange &x) {
    const uint32_t room = need(x.request, pm_length).number;
    openfile &file = fileof(x, status::notread);
    if (!file.in)
        fail(status::notread);
    if (x.data == nullptr)
        throw malformed{};
    if (file.ended)
        fail(wayof(x.request).afterend);
    if (!file.in->read(x.data, room, &x.length)) {
        file.ended = true;
        fail(status::atend);
    }
    x.haslength = true;
}

void write(exchange &x) {
    const uint32_t length = need(x.request, pm_length).number;
    openfile &file = fileof(x, status::notwritten);
    if (!file.out)
        fail(status::notwritten);
    if (need(x.request, pm_request).number != wayof(x.request).writerequest ||
        (x.data == nullptr && length != 0))
        throw malformed{};
    if (file.broken)
        fail(status::failed);
    file.broken = true;
    file.out->write(x.data, length);
    file.broken = false;
}

void nothing(exchange &) {}

void giveup(exchange &x) {
    x.in.files.clear();
}

struct routine {
    uint32_t code;
    void (*run)(exchange &);
};

constexpr routine routines[] = {
    {rq_open, open},   {rq_close, close},   {rq_read, read},  {rq_writeindexed, write},
    {rq_write, write}, {rq_start, nothing}, {rq_end, giveup},
};

// The outcome of the request, whatever a routine throws; malformed goes on.
failure outcome(exchange &x) {
    const uint32_t code = need(x.request, pm_request).number;
    for (const routine &each : routines) {
        if (each.code != code)
            continue;
        try {
            each.run(x);
            return {status::done, 0};
        } catch (const failure &why) {
            return why;
        } catch (const std::bad_alloc &) {
            return {status::failed, ENOMEM};
        }
    }
    throw malformed{};
}

void reply(const exchange &x, const failure &result, void *buffer, uint32_t length) {
    const auto add = [&](uint32_t number, uint32_t value, uint32_t count, const uint8_t *bytes) {
        (void)addparameter(messagekind::reply, buffer, length, number, value, count, bytes);
    };
    const auto addnumber = [&](uint32_t number, uint32_t value) {
        uint8_t bytes[4];
        putlittle(bytes, sizeof bytes, value);
        add(number, value, sizeof bytes, bytes);
    };
    (void)beginmessage(messagekind::reply, buffer, length);
    const auto state = static_cast<uint8_t>(result.state);
    add(pm_status, static_cast<uint32_t>(result.code), 1, &state);
    if (x.handle != 0) {
        uint8_t bytes[handlelength];
        putlittle(bytes, sizeof bytes, x.handle);
        add(pm_handle, 0, sizeof bytes, bytes);
        addnumber(pm_organisation, x.organisation);
    }
    if (x.haslength)
        addnumber(pm_length, x.length);
    if (!result.kept.empty())
        add(pm_path, 0, static_cast<uint32_t>(result.kept.size()),
            reinterpret_cast<const uint8_t *>(result.kept.data()));
    if (result.code != 0)
        errno = result.code; // callers look there as well
}

} // namespace

bool perform(sessionvalue value, void *data, void *buffer, uint32_t length) {
    const std::shared_ptr<session> found = findsession(value);
    const message request(messagekind::request, buffer, length);
    if (!found || !request.valid() || length < replyroom)
        return false;
    const std::lock_guard<std::mutex> lock(found->busy);
    exchange x = {request, *found, static_cast<uint8_t *>(data)};
    try {
        reply(x, outcome(x), buffer, length);
        return true;
    } catch (const malformed &) {
        return false;
    }
}

} // namespace fmgr
