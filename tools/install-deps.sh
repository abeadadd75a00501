#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, if any are missing.
#   tools/install-deps.sh         the build and the tests
#   tools/install-deps.sh fuzz    also clang with its sanitizer and fuzzer runtimes
set -euo pipefail
packages=(cmake ninja-build g++ libtinyxml-dev libgtest-dev libbenchmark-dev pkgconf
          pybind11-dev python3-dev python3-numpy python3-pytest python3-xarray python3-dask
          python3-distributed python3-matplotlib
          libtiff-dev libhdf5-dev libpng-dev python3-tifffile python3-h5py python3-pil
          libcli11-dev nlohmann-json3-dev python3-fsspec python3-zarr python3-aiohttp)
if [ "${1:-}" = "fuzz" ]; then
  packages+=(clang libclang-rt-14-dev)
fi
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  SUDO=""
  [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${missing[@]}"
fi
