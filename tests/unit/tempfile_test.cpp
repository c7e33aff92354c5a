// Where temporary files are created, in which order, and what is left of them.
#include "unit/externalsort.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace kvern::test {

namespace {

struct filesort : externalsort {
    filesort() : externalsort(8, 2, 1 << 16) {}

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
    // The same for directories: 'g' is one, 'm' is missing.
    std::string place(char what, size_t at) {
        const std::string name = folder.file(std::to_string(at));
        if (what == 'g')
            std::filesystem::create_directory(name);
        return what == '-' ? "" : name;
    }
};

struct attempt {
    int outcome;
    const char *file; // position of the path that was used
};

struct listcase {
    const char *what;
    const char *candidates;
    std::vector<attempt> attempts;
    uint32_t detail;
};

constexpr attempt none = {-1, nullptr};
constexpr attempt next = {1, nullptr};

} // namespace

TEST(tempfile, a_list_of_paths_uses_up_two_places_an_attempt) {
    const listcase cases[] = {
        {"every second", "ggggg", {{0, "0"}, {0, "2"}, {0, "4"}, none}, KVRN_D_TEMPCREATE},
        {"failures count like files", "mgggg", {next, {0, "2"}, {0, "4"}}, 0},
        {"a failure on the last but one", "mg", {none}, KVRN_D_TEMPSPACE},
        {"a hole alone", "-gg", {{0, "1"}, {0, "2"}, none}, KVRN_D_TEMPCREATE},
        {"nothing but holes", "---", {next, none}, KVRN_D_TEMPSPACE},
        {"what was there is emptied", "og", {{0, "0"}, none}, KVRN_D_TEMPCREATE},
        {"never twice the same file", "ggs", {{0, "0"}, none}, KVRN_D_TEMPSPACE},
    };
    for (const listcase &c : cases) {
        SCOPED_TRACE(c.what);
        filesort sort;
        sort.tmpoption = 1; // files stay by their names
        std::vector<std::string> list;
        for (size_t at = 0; c.candidates[at] != 0; ++at)
            list.push_back(sort.candidate(c.candidates[at], at));
        sort.setplaces(list, 'p');
        uint32_t files = 0;
        for (const attempt &a : c.attempts) {
            // the second attempt of "holes" finds the same name again
            const int outcome = newtempfile(&sort);
            ASSERT_EQ(outcome, a.outcome);
            if (outcome != 0)
                continue;
            EXPECT_EQ(sort.tempfiles->path, sort.folder.file(a.file));
            EXPECT_EQ(std::filesystem::file_size(sort.tempfiles->path), 0u);
            EXPECT_EQ(sort.tempcount, ++files);
        }
        if (c.detail != 0 || c.attempts.back().outcome != -1) {
            EXPECT_EQ(sort.errdetail, c.detail);
        }
    }
}

TEST(tempfile, directories_are_used_in_turn) {
    const listcase cases[] = {
        {"all good", "ggg", {{0, "0"}, {0, "1"}, {0, "2"}, none}, KVRN_D_TEMPCREATE},
        {"the last is missing", "gm", {{0, "0"}, none}, 0},
        {"holes", "-g-", {{0, "1"}, none}, KVRN_D_TEMPCREATE},
    };
    for (const listcase &c : cases) {
        SCOPED_TRACE(c.what);
        filesort sort;
        std::vector<std::string> list;
        for (size_t at = 0; c.candidates[at] != 0; ++at)
            list.push_back(sort.place(c.candidates[at], at));
        sort.setplaces(list, 'd');
        for (const attempt &a : c.attempts) {
            ASSERT_EQ(newtempfile(&sort), a.outcome);
            if (a.outcome != 0)
                continue;
            const std::string path = sort.tempfiles->path;
            EXPECT_EQ(path.rfind(sort.folder.file(a.file), 0), 0u) << path;
        }
        EXPECT_NE(sort.errdetail, 0u);
        if (c.detail != 0) {
            EXPECT_EQ(sort.errdetail, c.detail);
        }
    }
}

TEST(tempfile, the_default_place_gets_one_file) {
    filesort sort;
    sort.setplaces({}, 0);
    ASSERT_EQ(newtempfile(&sort), 0);
    EXPECT_EQ(newtempfile(&sort), -1);
    EXPECT_EQ(sort.errdetail, KVRN_D_TEMPSPACE);
    const std::string path = sort.tempfiles->path;
    EXPECT_EQ(deletetempfiles(&sort), 0);
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(tempfile, inputs_and_the_output_are_left_alone) {
    filesort sort;
    const std::string input = sort.folder.file("input");
    writefile(input, "records");
    filectl file{};
    file.name = input.c_str();
    filectl *list[] = {&file};
    sort.infiles = list;
    sort.filecount = 1;
    sort.setplaces({input}, 'p');
    EXPECT_EQ(newtempfile(&sort), -1);
    sort.filecount = 0;
    sort.outfile = &file;
    sort.setplaces({input}, 'p');
    EXPECT_EQ(newtempfile(&sort), -1);
    EXPECT_EQ(readfile(input), "records");
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
    sort.tfrecroom = sizeof(tempfile) - 1;
    EXPECT_EQ(newtempfile(&sort), -1);
}

TEST(tempfile, files_go_or_stay) {
    for (uint8_t keep : {uint8_t{0}, uint8_t{1}}) {
        filesort sort;
        sort.tmpoption = keep;
        ASSERT_EQ(newtempfile(&sort), 0);
        const std::string path = sort.tempfiles->path;
        EXPECT_EQ(sort.tempfiles->hidden,
                  sort.tempfiles->deleteit != 0 && !std::filesystem::exists(path));
        EXPECT_EQ(deletetempfiles(&sort), 0);
        EXPECT_EQ(std::filesystem::exists(path), keep != 0);
        EXPECT_EQ(sort.tempfiles, nullptr);
        EXPECT_EQ(deletetempfiles(&sort), 0);
    }
}

} // namespace kvern::test
