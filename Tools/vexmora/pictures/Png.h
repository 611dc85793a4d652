// PNG files.
#pragma once

#include "files/OutputFile.h"
#include "pictures/RgbImage.h"

namespace VexmoraCommand {

/// Writes inImage as a PNG of 8 bits a colour. Throws what OutputFile::Write throws.
void WritePng(const RgbImage& inImage, OutputFile& ioFile);

}  // namespace VexmoraCommand
