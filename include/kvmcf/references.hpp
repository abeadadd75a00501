// Byte-range references to an open file's pixels, so zarr, xarray and dask read the
// original bytes in place (locally or remotely) without converting anything.
//
//     std::string json = kvmcf::references(file, "https://host/run.mcf", fileSize);
#ifndef KVMCF_REFERENCES_HPP
#define KVMCF_REFERENCES_HPP

#include <cstddef>
#include <string>
#include <vector>

#include "kvmcf/kvmcf.hpp"

namespace kvmcf {

// The reference set of every source of `file` (fsspec's reference format, version 1;
// zarr v2 metadata) as JSON text: a group per source, an uncompressed "<f4" array per
// sub-image shaped (frames, rows, columns) with whole frames per chunk, each chunk
// [url, offset, length] into the file; the calibrated axes and frame times inline.
// `fileSize` (0 when unknown) lets a last short chunk reach past the pixels when the
// file holds the bytes, so large chunks need not divide the frame count.
KVMCF_CXX_API std::string references(const File& file, const std::string& url, unsigned long long fileSize = 0,
                                     unsigned long long chunkBytes = 64ULL << 20);

// The calibrated value of each of `count` bins of `bin` detector pixels from detector
// pixel `start`: the mean of the axis over the bin, NaN where a bin leaves the axis.
KVMCF_CXX_API std::vector<double> binnedAxis(const Axis& axis, long long start, std::size_t count, int bin);

}  // namespace kvmcf

#endif
