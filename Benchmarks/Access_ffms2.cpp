// Visits frames of a file through ffms2 and tells how long that took.
// Usage: access_ffms2 FILE random|reverse|forward COUNT THREADS INDEX-FILE (made when it is not there)
#include <ffms.h>

#include <cstdlib>
#include <stdexcept>

#include "Access.h"

namespace {

// What ffms2 says went wrong.
struct Complaint {
    Complaint() : info{FFMS_ERROR_SUCCESS, FFMS_ERROR_SUCCESS, sizeof(text), text} {}
    [[noreturn]] void Throw() const { throw std::runtime_error(text); }

    char text[512] = {};
    FFMS_ErrorInfo info;
};

FFMS_Index* LoadIndex(const char* inMedia, const char* inIndexFile) {
    Complaint complaint;
    if (FFMS_Index* index = FFMS_ReadIndex(inIndexFile, &complaint.info)) return index;
    FFMS_Indexer* indexer = FFMS_CreateIndexer(inMedia, &complaint.info);
    if (indexer == nullptr) complaint.Throw();
    FFMS_Index* index = FFMS_DoIndexing2(indexer, FFMS_IEH_ABORT, &complaint.info);
    if (index == nullptr || FFMS_WriteIndex(inIndexFile, index, &complaint.info) != 0) complaint.Throw();
    return index;
}

}  // namespace

int main(int inArgumentCount, char** inArguments) try {
    if (inArgumentCount != 6) {
        std::fputs("usage: access_ffms2 FILE random|reverse|forward COUNT THREADS INDEX-FILE\n", stderr);
        return 2;
    }
    FFMS_Init(0, 0);
    Complaint complaint;
    FFMS_Index* index = LoadIndex(inArguments[1], inArguments[5]);
    const int track = FFMS_GetFirstTrackOfType(index, FFMS_TYPE_VIDEO, &complaint.info);
    if (track < 0) complaint.Throw();
    FFMS_VideoSource* source = FFMS_CreateVideoSource(inArguments[1], track, index, std::atoi(inArguments[4]),
                                                      FFMS_SEEK_NORMAL, &complaint.info);
    if (source == nullptr) complaint.Throw();
    const auto frames = Vexmora::Benchmark::FramesToVisit(inArguments[2], std::atoi(inArguments[3]),
                                                          FFMS_GetVideoProperties(source)->NumFrames);
    Vexmora::Benchmark::MeasureAccess(frames, [&](int inFrame) {
        if (FFMS_GetFrame(source, inFrame, &complaint.info) == nullptr) complaint.Throw();
    });
    FFMS_DestroyVideoSource(source);
    FFMS_DestroyIndex(index);
    FFMS_Deinit();
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "access_ffms2: %s\n", error.what());
    return 1;
}
