// A file manager in the test program, behind the double's library: keeps files in
// memory, writes down every request as a line of text, and fails where it is told.
#pragma once

#include "fmgr/fmgrstage.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace kvern::test {

// Names the folder of the file manager's library to the engine while it lives.
class productdirectory {
  public:
    explicit productdirectory(const std::string &folder); // empty: none is named
    ~productdirectory();
    productdirectory(const productdirectory &) = delete;
    productdirectory &operator=(const productdirectory &) = delete;

  private:
    std::string before;
    bool wasset;
};

enum class fmgrfunction : uint8_t {
    none, // fails nowhere
    InitFileManager,
    BldNumParm,
    BldStrParm,
    BldFlagParm,
    FileManager,
    InitMsgScan,
    ScanParmType,
    TermFileManager,
};

class recordingmanager final : public fmgrstage {
  public:
    struct value {
        std::string bytes{};
        uint32_t number = 0;
        bool measured = true; // otherwise a length of 0 is told
    };
    using parms = std::map<uint32_t, value>;
    struct request {
        parms asked{}, reply{};
        [[nodiscard]] uint32_t code() const { return asked.at(0).number; }
        void status(uint8_t byte, uint32_t number = 0) {
            reply[1] = {{static_cast<char>(byte)}, number};
        }
    };

    recordingmanager();
    ~recordingmanager();
    recordingmanager(const recordingmanager &) = delete;
    recordingmanager &operator=(const recordingmanager &) = delete;

    // Records by the file's name without its folder.
    std::map<std::string, std::vector<std::string>> files{};
    std::function<void(request &)> twist{}; // changes replies
    fmgrfunction failing = fmgrfunction::none;
    size_t failat = 0; // number of the call that fails, from 0

    // What came.  A line: "load", "unload", a function's name, or a request, its
    // parameters in order as 0=1 (number), 6"in" (text) or 22:8060 (other bytes),
    // with the first bytes of the record that is written behind <.
    std::vector<std::string> lines{};
    // Every call that can fail, with the number of lines before its request's.
    struct place {
        fmgrfunction function;
        size_t line;
    };
    std::vector<place> places{};
    std::string broken{}; // what breaks the order of calls, empty: nothing

    void loaded() override;
    void unloaded() override;
    uintptr_t InitFileManager() override;
    uint32_t InitReqMsgBuild(void *buffer, uint32_t length) override;
    uint32_t BldNumParm(uint32_t parm, uint32_t value) override;
    uint32_t BldStrParm(uint32_t parm, uint32_t length, const void *bytes) override;
    uint32_t BldFlagParm(uint32_t parm, uint32_t length, const void *bytes) override;
    uint32_t FileManager(uintptr_t session, void *data, void *buffer, uint32_t length,
                         uint32_t zero) override;
    uint32_t InitMsgScan(void *buffer, uint32_t two, uint32_t length) override;
    uint32_t ScanParmType(uint32_t parm, uint32_t *length, const void **value,
                          uint32_t *number) override;
    uint32_t TermFileManager(uintptr_t session) override;
    uint32_t FailFileManager(uintptr_t session) override;

  private:
    bool fails(fmgrfunction function);
    void expect(bool right, const char *what);
    void build(uint32_t parm, const std::string &text, const value &given);
    void perform(void *data);
    void open();
    void read(void *data);

    struct opened {
        std::vector<std::string> *records;
        size_t next = 0;
        bool atend = false;
    };
    opened &given();
    std::map<std::string, opened> handles{};
    void *message = nullptr;
    bool scanning = false;
    std::string line{};
    request now{};
};

} // namespace kvern::test
