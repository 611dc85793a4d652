// The exported interface: frame-accurate random access to MPEG-2 video (ISO/IEC 13818-2) in elementary,
// program and transport streams. Twenty functions; everything else in the library is hidden. They take
// objects of the C++ run time that the library was built with: a host is built with the same (for C there is
// vexmora.h).
//
// Index a stream that the host reads itself (see Vexmora_CreateIndexerFromFirstBuffer):
//
//     Vexmora_IndexerHandle indexer = nullptr;
//     if (Vexmora_CreateIndexerFromFirstBuffer(bytes, &indexer) != Vexmora_Ok) return;  // not MPEG-2
//     Vexmora_BufferIndexerScan(indexer, bytes, byteCount, 0);
//     Vexmora::IndexHeader header{};
//     std::vector<Vexmora::AudioAlignmentRun> plan;
//     std::vector<Vexmora::FrameRecord> records;
//     const auto status = Vexmora_BufferIndexerDone(indexer, byteCount, &header, &plan, &records);
//     Vexmora_BufferIndexerDestroy(&indexer);
#pragma once

#include <cstdint>
#include <vector>

#include "Vexmora/FileInfo.h"
#include "Vexmora/HostServices.h"
#include "Vexmora/Records.h"
#include "Vexmora/Status.h"
#include "Vexmora/UTF16String.h"

#define VEXMORA_API __attribute__((visibility("default")))

/// An opened file or buffer instance. One thread at a time may use a handle; different handles are
/// independent.
using Vexmora_Handle = struct Vexmora_InstanceTag*;
/// An indexer over buffers that the host supplies. One thread at a time.
using Vexmora_IndexerHandle = struct Vexmora_IndexerTag*;

extern "C" {

// ---- Start-up and shut-down -------------------------------------------------------------------------------

/// Prepares the process: picks the processor variant of the primitives and makes the executor that spreads
/// the decoding of one picture over the processors. Call it before any other export, from any thread; calls
/// are counted and balanced by Vexmora_Shutdown.
VEXMORA_API void Vexmora_Startup();

/// Balances one Vexmora_Startup; the last one releases the executor. A call too many is ignored. Must not run
/// while a picture is being decoded.
VEXMORA_API void Vexmora_Shutdown();

// ---- Opening and closing ----------------------------------------------------------------------------------

/// Opens a media file and loads its index if the host knows one.
/// @param inPath        the file.
/// @param inServices    the host's functions; copied.
/// @param outHandle     receives the handle when the status is 0 or -4, else null. The host closes it.
/// @param outIndexHeader null, or receives a copy of the header of the index that was found.
/// @param inIndexFlag   passed unchanged to the host's index-location functions.
/// @return Vexmora_Ok (open, index loaded), Vexmora_NotFinished (open, no index yet: call Vexmora_IndexFile),
///         Vexmora_Failure (nothing is written through outHandle if it came from an exception),
///         Vexmora_Unsupported, Vexmora_NoSequenceHeader.
VEXMORA_API Vexmora_Status Vexmora_OpenFile(const UTF16String& inPath,
                                            const Vexmora::HostServices& inServices,
                                            Vexmora_Handle* outHandle, Vexmora::IndexHeader* outIndexHeader,
                                            bool inIndexFlag);

/// Opens a media file with an index that the host holds, for example from a buffer indexer.
/// @param inIndexHeader  the index header; copied.
/// @param inFrameRecords at least inIndexHeader.recordCount records; copied.
/// @param outHandle      receives the handle on status 0, else null. The host closes it.
/// @return Vexmora_Ok, Vexmora_Failure, Vexmora_Unsupported (also: fewer records than the header counts),
///         Vexmora_NoSequenceHeader, Vexmora_NotFinished (the header counts no records; no handle).
VEXMORA_API Vexmora_Status Vexmora_OpenFileWithIndex(const UTF16String& inPath,
                                                     const Vexmora::HostServices& inServices,
                                                     const Vexmora::IndexHeader& inIndexHeader,
                                                     const std::vector<Vexmora::FrameRecord>& inFrameRecords,
                                                     Vexmora_Handle* outHandle);

/// Makes an instance that decodes elementary-stream pictures which the host writes into a buffer.
/// @param inBufferSize bytes of the buffer: the largest coded picture and its headers, plus 8 KiB.
/// @param outHandle    receives the handle on status 0, else is left alone. The host closes it.
/// @param outBuffer    receives the buffer's address on status 0, else is left alone. It belongs to the
/// handle
///                     and is valid until Vexmora_CloseFile.
/// @return Vexmora_Ok or Vexmora_Failure.
VEXMORA_API Vexmora_Status Vexmora_OpenBufferInstance(const Vexmora::HostServices& inServices,
                                                      std::uint32_t inBufferSize, Vexmora_Handle* outHandle,
                                                      std::uint8_t** outBuffer);

/// Releases a handle of any of the three opens; null is allowed. Always Vexmora_Ok.
VEXMORA_API Vexmora_Status Vexmora_CloseFile(Vexmora_Handle inHandle);

// ---- Indexing a file --------------------------------------------------------------------------------------

/// Reads and indexes the next 16 MiB of a file that was opened without an index; the last call writes the
/// index file. The handle itself stays without an index: open the file again to use it.
/// @param outProgress receives the fraction done, 0 to 1; the first of several calls writes nothing.
/// @param inIndexFlag passed unchanged to the host's index-location functions.
/// @return Vexmora_Ok (complete and written), Vexmora_NotFinished (call again), Vexmora_Failure,
///         Vexmora_Unsupported (no index can be built), Vexmora_IndexNotWritten.
VEXMORA_API Vexmora_Status Vexmora_IndexFile(Vexmora_Handle inHandle, float* outProgress, bool inIndexFlag);

// ---- Queries ----------------------------------------------------------------------------------------------

/// Fills outInfo. @return Vexmora_Ok, or with nothing written Vexmora_Failure, Vexmora_Unsupported,
/// Vexmora_NoSequenceHeader (also: a buffer instance before its first request).
VEXMORA_API Vexmora_Status Vexmora_GetFileInfo(Vexmora_Handle inHandle, Vexmora::FileInfo* outInfo);

/// Writes the display index of the first frame that a host may use. @return Vexmora_Ok.
VEXMORA_API Vexmora_Status Vexmora_GetVideoFrameOffset(Vexmora_Handle inHandle, std::uint32_t* outOffset);

/// Writes the bytes that the luma plane and each chroma plane of a picture must have. Both are 0 while no
/// sequence header is known. @return Vexmora_Ok.
VEXMORA_API Vexmora_Status Vexmora_GetFrameSizes(Vexmora_Handle inHandle, std::uint32_t* outLumaSize,
                                                 std::uint32_t* outChromaSize);

/// Tells which frames must be decoded first.
/// @param inFrame     display index.
/// @param outForward  receives the past reference, or 0x7FFFFFFF when there is none.
/// @param outBackward receives the future reference, or 0x7FFFFFFF when there is none.
/// @return Vexmora_Ok, Vexmora_NoSuchFrame, Vexmora_NoCodedPicture.
VEXMORA_API Vexmora_Status Vexmora_GetFrameDependancies(Vexmora_Handle inHandle, std::int32_t inFrame,
                                                        std::int32_t* outForward, std::int32_t* outBackward);

/// 1 if the frame has a picture with data, else 0 (also for numbers outside the index).
VEXMORA_API std::int32_t Vexmora_IsFrameValid(Vexmora_Handle inHandle, std::int32_t inFrame);

/// inFrame when it is valid, else the nearest valid frame below it, else 0.
VEXMORA_API std::int32_t Vexmora_GetLastGoodFrame(Vexmora_Handle inHandle, std::int32_t inFrame);

// ---- Decoding ---------------------------------------------------------------------------------------------

/// Decodes one frame of an indexed file into the host's planes, on all processors, and returns when it is
/// complete. The picture is that of a decoder which reads the video from the sequence header on that governs
/// the frame: whatever was requested before, on whatever handle.
/// @param inFrame         display index.
/// @param inForward       the decoded past reference (only read); null planes when there is none.
/// @param inBackward      the decoded future reference (only read); null planes when there is none.
/// @param outPicture      the planes to write, sized by Vexmora_GetFrameSizes.
/// @param inDecodeMode    0 full size, else reduced.
/// @param inDecodeSubMode when reduced: 1 quarter size (half width and height), else half width.
/// @return Vexmora_Ok (also for a picture that is damaged: what could not be decoded is not written),
///         Vexmora_Failure, Vexmora_Unsupported (also: the frame's sequence header has another size or chroma
///         format than the first of the file; nothing is written), Vexmora_NoSequenceHeader (reading or
///         decoding failed), Vexmora_NoSuchFrame, Vexmora_NoCodedPicture, Vexmora_EmptyRecord.
VEXMORA_API Vexmora_Status Vexmora_GetFrame(Vexmora_Handle inHandle, std::int32_t inFrame,
                                            const Vexmora::FramePlanes* inForward,
                                            const Vexmora::FramePlanes* inBackward,
                                            const Vexmora::FramePlanes* outPicture,
                                            std::uint32_t inDecodeMode, std::uint32_t inDecodeSubMode);

/// Decodes the picture that the host wrote into a buffer instance's buffer. Quantiser matrices stay in force
/// for the pictures of later requests, and the first field of a frame waits for the second. A sequence header
/// in any request takes effect, unless it does not parse: Vexmora_GetFileInfo and Vexmora_GetFrameSizes then
/// tell of it. Where it calls for other planes than the header before, no picture is decoded until
/// Vexmora_GetFrameSizes was called; then the same data can be passed again.
/// @param inDataSize    bytes written: headers (needed once, before the first picture), a picture start code
///                      and one picture; a sequence header behind the picture is that of the next request
///                      and is not read. At least 4 bytes of the buffer stay free behind them.
/// @param inPictureType picture_coding_type of that picture.
/// The other parameters are those of Vexmora_GetFrame.
/// @return Vexmora_Ok, Vexmora_Failure, Vexmora_Unsupported (not a buffer instance), Vexmora_NoSuchFrame
///         (another type of picture, planes for another sequence, or reading or decoding failed).
VEXMORA_API Vexmora_Status Vexmora_GetFrameFromBuffer(
    Vexmora_Handle inHandle, std::uint32_t inDataSize, std::uint32_t inPictureType,
    const Vexmora::FramePlanes* inForward, const Vexmora::FramePlanes* inBackward,
    const Vexmora::FramePlanes* outPicture, std::uint32_t inDecodeMode, std::uint32_t inDecodeSubMode);

// ---- Indexing buffers -------------------------------------------------------------------------------------
// These five pass allocation failures on to the host as std::bad_alloc. An indexer through which one has
// passed is only good for Vexmora_BufferIndexerDestroy: its other functions answer Vexmora_Failure.

/// Makes the indexer for a stream by its first bytes, which must still be passed to the first scan.
/// @param inFirstBytes at least 5 bytes: 00 00 01 B3 (elementary), 47 (transport), or a fifth byte 4x
/// (program).
/// @param outIndexer   receives the indexer, or null. The host destroys it.
/// @return Vexmora_Ok; Vexmora_Failure when the bytes are none of these, a pointer is null, or there is no
///         memory.
VEXMORA_API Vexmora_Status Vexmora_CreateIndexerFromFirstBuffer(const std::uint8_t* inFirstBytes,
                                                                Vexmora_IndexerHandle* outIndexer);

/// Makes a transport stream indexer. @return Vexmora_Ok, or Vexmora_Failure with null in outIndexer.
VEXMORA_API Vexmora_Status Vexmora_BufferIndexerCreate(Vexmora_IndexerHandle* outIndexer);

/// Scans the next bytes of the stream: in order, without gaps, in buffers of any size of at least 33 bytes
/// (a last shorter one is fine; the records are the same for every split, but for an elementary stream
/// in which PES headers lie across the cuts).
/// @param inBuffer     inBufferSize bytes; only read, not kept.
/// @param inFileOffset stream position of the first of them; positions become the records' offsets.
/// @return Vexmora_Ok whatever the bytes hold; Vexmora_Failure for a null pointer or size 0.
VEXMORA_API Vexmora_Status Vexmora_BufferIndexerScan(Vexmora_IndexerHandle inIndexer,
                                                     const std::uint8_t* inBuffer, std::uint64_t inBufferSize,
                                                     std::uint64_t inFileOffset);

/// Finishes the index. Call it once, after the last scan.
/// @param inEndOffset      stream position just past the last byte scanned.
/// @param outIndexHeader   receives the header; bytes 68 to 87 keep what the host put there (set them to 0).
/// @param outAlignmentPlan replaced by the audio alignment plan.
/// @param outFrameRecords  replaced by the records in display order, which the indexer then no longer has.
/// @return Vexmora_Ok; Vexmora_Unsupported when the stream cannot be indexed (the header then has streamKind
///         0x80000000, the vectors are left alone); Vexmora_Failure for a null pointer.
VEXMORA_API Vexmora_Status Vexmora_BufferIndexerDone(
    Vexmora_IndexerHandle inIndexer, std::uint64_t inEndOffset, Vexmora::IndexHeader* outIndexHeader,
    std::vector<Vexmora::AudioAlignmentRun>* outAlignmentPlan,
    std::vector<Vexmora::FrameRecord>* outFrameRecords);

/// Destroys an indexer and writes null through ioIndexer. @return Vexmora_Ok, or Vexmora_Failure when there
/// is nothing to destroy.
VEXMORA_API Vexmora_Status Vexmora_BufferIndexerDestroy(Vexmora_IndexerHandle* ioIndexer);

}  // extern "C"
