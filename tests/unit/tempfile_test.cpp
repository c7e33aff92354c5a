// Where temporary files are created, in which order, and what is left of them.
#include "session/qha9msg.h"
#include "unit/externalsort.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace kvern::test {

namespace {

struct filesort : externalsort {
    // Not the first file of a session, which decides alone.
    filesort() : externalsort(8, 2, 1 << 16) { tempused = 1; }

    // 'g' a fresh name, 'o' a file that was there, 'd' a directory, 'm' a name in a
    // directory that is missing, 's' the first name again, '-' null
    std::string candidate(char what, size_t at) {
        const std::string name = folder.file(what == 's' ? "0" : std::to_string(at));
        if (what == 'o')
            writefile(name, "yesterday");
        if (what == 'd')
            std::filesystem::create_directory(name);
        return what == '-' ? "" : what == 'm' ? folder.file("missing/file") : name;
    }
    // Takes files until the places end: for each attempt the number of the place,
    // 'n' for one that asks for the next attempt, '!' for the end.
    std::string taken() {
        for (std::string got;;) {
            const int outcome = newtempfile(this);
            if (outcome == 0)
                got += std::string(tempfiles->path).at(folder.path().size() + 1);
            else
                got += outcome == 1 ? 'n' : '!';
            if (outcome == -1 || got.size() == 6)
                return got;
        }
    }
};

} // namespace

TEST(tempfile, places_in_their_order) {
    const struct {
        const char *what;
        char kind;
        const char *candidates, *taken;
        uint32_t detail; // at the end; 0: not told
    } cases[] = {
        // A list of paths uses up two places an attempt.
        {"every second", 'p', "ggggg", "024!", KVRN_D_TEMPCREATE},
        {"failures count like files", 'p', "mgggg", "n24!", 0},
        {"a failure on the last but one", 'p', "mg", "!", KVRN_D_TEMPSPACE},
        {"a hole alone", 'p', "-gg", "12!", KVRN_D_TEMPCREATE},
        {"nothing but holes", 'p', "---", "n!", KVRN_D_TEMPSPACE},
        {"what was there is emptied", 'p', "og", "0!", KVRN_D_TEMPCREATE},
        {"never twice the same file", 'p', "ggs", "0!", KVRN_D_TEMPSPACE},
        // Directories are used in turn.
        {"all good", 'd', "ddd", "012!", KVRN_D_TEMPCREATE},
        {"the last is missing", 'd', "dm", "0!", 0},
        {"holes", 'd', "-d-", "1!", KVRN_D_TEMPCREATE},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        filesort sort;
        sort.tmpoption = c.kind == 'p'; // files stay by their names
        std::vector<std::string> list;
        for (size_t at = 0; c.candidates[at] != 0; ++at)
            list.push_back(sort.candidate(c.candidates[at], at));
        sort.setplaces(list, c.kind);
        EXPECT_EQ(sort.taken(), c.taken);
        EXPECT_TRUE(c.detail == 0 || sort.errdetail == c.detail) << sort.errdetail;
        if (c.candidates[0] == 'o') {
            EXPECT_EQ(deletetempfiles(&sort), 0); // open, it may not be shared
            EXPECT_EQ(readfile(list[0]), "");
        }
    }
}

// The default place gets one file, which goes or stays; a missing directory is passed
// over without a word.
TEST(tempfile, files_go_or_stay) {
    for (const uint8_t keep : {uint8_t{0}, uint8_t{1}}) {
        filesort sort;
        sort.tmpoption = keep;
        sort.setplaces({}, 0);
        ASSERT_EQ(newtempfile(&sort), 0);
        const std::string path = sort.tempfiles->path;
        EXPECT_EQ(newtempfile(&sort), -1);
        EXPECT_EQ(sort.errdetail, KVRN_D_TEMPSPACE);
        EXPECT_EQ(deletetempfiles(&sort), 0);
        EXPECT_EQ(std::filesystem::exists(path), keep != 0);
        std::filesystem::remove(path);

        filesort missing;
        missing.setplaces({missing.folder.file("none"), missing.folder.path()}, 'd');
        EXPECT_TRUE(newtempfile(&missing) == 0 || newtempfile(&missing) == 0);
        EXPECT_EQ(missing.errdetail, 0u);
    }
}

TEST(tempfile, inputs_and_the_output_are_left_alone) {
    for (const bool output : {false, true}) {
        filesort sort;
        const std::string path = sort.folder.file("records");
        writefile(path, "records");
        filectl file{};
        file.name = path.c_str();
        filectl *list[] = {&file};
        sort.infiles = list;
        sort.filecount = output ? 0 : 1;
        sort.outfile = output ? &file : nullptr;
        sort.setplaces({path}, 'p');
        EXPECT_EQ(newtempfile(&sort), -1);
        EXPECT_EQ(readfile(path), "records");
    }
}

// It decides alone, though more may remain, and is told once.
TEST(tempfile, the_first_one_fails) {
    filesort sort;
    sort.tempused = 0;
    sort.msgprint = 1;
    sort.msglevel = lv_failure;
    sort.setplaces({sort.candidate('m', 0), "", sort.candidate('g', 2)}, 'p');
    testing::internal::CaptureStdout();
    EXPECT_EQ(goexternal(&sort), -1);
    const std::string lines = testing::internal::GetCapturedStdout();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 2) << lines;
    EXPECT_LT(lines.find("KVERN:32:"), lines.find("KVERN:26:")) << lines;
    EXPECT_EQ(sort.errdetail, KVRN_D_TEMPCREATE);
    EXPECT_EQ(sort.tempcount, 0u);
}

TEST(tempfile, the_record_area_ends) {
    filesort sort;
    const uint32_t room = sort.tfrecroom;
    ASSERT_EQ(newtempfile(&sort), 0);
    const uint32_t one = room - sort.tfrecroom;
    EXPECT_EQ(one % alignof(tempfile), 0u);
    sort.setplaces(std::vector<std::string>(3, sort.folder.path()), 'd');
    sort.tfrecroom = 2 * one - 1;
    EXPECT_EQ(newtempfile(&sort), 0);
    EXPECT_EQ(newtempfile(&sort), -1);
    EXPECT_EQ(sort.errdetail, KVRN_D_TEMPCREATE);
}

} // namespace kvern::test
