// That the streams made for their coding tools do use them, as another decoder's report of their syntax says.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace Vexmora::Test {
namespace {

struct Tool {
    const char* name;
    const char* line;  // of a report, without its count
};

// Macroblocks: '>' predicted from the past, '<' from the future, 'X' from both; "  " as a frame, "-=" by
// fields, " =" dual prime.
constexpr Tool kTools[] = {
    {"I pictures", "picture_coding_type=1"},
    {"P pictures", "picture_coding_type=2"},
    {"B pictures", "picture_coding_type=3"},
    {"open groups", "closed_gop=0"},
    {"closed groups", "closed_gop=1"},
    {"low delay", "low_delay=1"},
    {"repeated field", "repeat_first_field=1"},
    {"progressive sequence", "progressive_sequence=1"},
    {"interlaced sequence", "progressive_sequence=0"},
    {"top field first", "first_field=top"},
    {"bottom field first", "first_field=bottom"},
    {"frame prediction and transform alone", "frame_pred_frame_dct=1"},
    {"field prediction or transform", "frame_pred_frame_dct=0"},
    {"intra macroblocks", "macroblock=i  ."},
    {"predicted forwards", "macroblock=>  ."},
    {"predicted backwards", "macroblock=<  ."},
    {"predicted from both", "macroblock=X  ."},
    {"predicted forwards by fields", "macroblock=>-=."},
    {"predicted backwards by fields", "macroblock=<-=."},
    {"predicted from both by fields", "macroblock=X-=."},
    {"dual prime", "macroblock=> =."},
    {"skipped macroblocks", "macroblock=S  ."},
    {"vectors of 64 and more samples", "f_code[0][0]=5"},
    {"backward vectors of 64 and more samples", "f_code[1][0]=5"},
    {"zigzag scan", "alternate_scan=0"},
    {"alternate scan", "alternate_scan=1"},
    {"intra coefficients by table B.14", "intra_vlc_format=0"},
    {"intra coefficients by table B.15", "intra_vlc_format=1"},
    {"linear quantiser", "q_scale_type=0"},
    {"non-linear quantiser", "q_scale_type=1"},
    {"finest quantiser", "quantiser_scale_code=1"},
    {"coarsest quantiser", "quantiser_scale_code=31"},
    {"intra matrix", "load_intra_quantiser_matrix=1"},
    {"non-intra matrix", "load_non_intra_quantiser_matrix=1"},
    {"intra DC of 8 bits", "intra_dc_precision=0"},
    {"intra DC of 9 bits", "intra_dc_precision=1"},
    {"intra DC of 10 bits", "intra_dc_precision=2"},
    {"intra DC of 11 bits", "intra_dc_precision=3"},
    {"one slice a picture", "slices_per_picture=1"},
    {"16 slices a picture", "slices_per_picture=16"},
    {"several slices in a row", "several_slices_in_a_row"},
};

std::string ReadText(const std::filesystem::path& inPath) {
    std::ifstream file(inPath);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(ToolStreams, UseEveryToolThatTheEncodersHave) {
    std::vector<std::string> reports;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::filesystem::path(VEXMORA_STREAM_DIR) / "tools")) {
        if (entry.path().extension() == ".tools") reports.push_back('\n' + ReadText(entry.path()));
    }
    for (const Tool& tool : kTools) {
        const std::string line = std::string("\n") + tool.line + ' ';
        const auto users = std::count_if(reports.begin(), reports.end(), [&](const std::string& inReport) {
            return inReport.find(line) != std::string::npos;
        });
        std::printf("%3d of %zu streams: %s\n", static_cast<int>(users), reports.size(), tool.name);
        EXPECT_GT(users, 0) << tool.name;
    }
}

}  // namespace
}  // namespace Vexmora::Test
