// Reading and writing PNG files as zq frames (BGR24 or GRAY8).
#pragma once

#include <zq/core.h>

#include <string>

/// Reads any PNG as a ZQ_FRAME_BGR24 frame (palette, gray, 16-bit and alpha are
/// reduced to 8-bit B, G, R). Returns false with a message on failure.
bool readPng(const std::string& path, zq::Frame& frame, std::string& error);

/// Writes a ZQ_FRAME_BGR24 or ZQ_FRAME_GRAY8 frame as a PNG file.
bool writePng(const std::string& path, const zq::Frame& frame, std::string& error);
