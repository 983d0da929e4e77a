#!/usr/bin/env bash
# Installs the Debian packages that building, running and testing Orvane need.
# Does nothing when they are all present, so `make` targets can call it every time.
set -euo pipefail

packages=(
  build-essential cmake ninja-build ccache pkg-config
  qt6-base-dev qt6-base-dev-tools libqt6opengl6-dev libgl-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  zlib1g-dev libdeflate-dev libtiff-dev libjpeg62-turbo-dev libturbojpeg0-dev libpng-dev
  # test-only: libtiff's tools as the reference, and TIFF/PNG samples made by other programs
  libtiff-tools golang-golang-x-image-dev netpbm libjpeg-turbo-progs python3-numpy
  xvfb xauth
  # metadata: Exiv2 rewrites one field in place; exiftool is the tests' reference reader,
  # rawtran-doc holds a real Canon raw
  libexiv2-dev libimage-exiftool-perl rawtran-doc
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
