#!/usr/bin/env bash
# Installs the programs the benchmarks compare with: libvips' command line and
# ImageMagick.
# `make bench` calls it; `make test` never does.
set -euo pipefail
command -v vips > /dev/null && command -v convert > /dev/null && exit 0
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends libvips-tools imagemagick
