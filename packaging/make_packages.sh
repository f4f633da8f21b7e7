#!/usr/bin/env bash
# Makes what a release consists of, in build/package/: the Debian packages siminfo and siminfo-collect, which lintian
# reads, and a tarball with the libraries that it needs, which runs from its folder on any x86-64 Linux with glibc 2.36.
# To be run on Debian 12, whose libraries these are.
set -euo pipefail
root=$(cd -- "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/.." && pwd)
# shellcheck source=scripts/build.sh
. "$root/scripts/build.sh"
folder=$root/build/package

# The libraries that the programs of a folder load, apart from those that are of one piece with the kernel's loader.
libraries_of() {
  ldd "$1"/* | sed -n 's/.* => \(\/[^ ]*\) .*/\1/p' | sort -u | grep -vE '/(libc|libm)\.so\.6$'
}

make_tarball() {
  local name=$1 library package
  local tree=$folder/$name
  rm -rf "$tree"
  DESTDIR=$folder/tarball.tmp cmake --install "$folder" --strip >/dev/null
  mv "$folder/tarball.tmp/usr" "$tree" && rmdir "$folder/tarball.tmp"
  for library in $(libraries_of "$tree/bin"); do
    cp -L "$library" "$tree/lib/"
    # Packages may name the folders by which they are reached, or those that they are in.
    package=$(dpkg -S "*/${library#/*lib/}" | sed 's/:.*//')
    mkdir -p "$tree/share/doc/$package"
    cp -L "/usr/share/doc/$package/copyright" "$tree/share/doc/$package/"
  done
  patchelf --set-rpath '$ORIGIN' "$tree"/lib/*.so.*
  patchelf --set-rpath '$ORIGIN/../lib' "$tree"/bin/*
  tar -C "$folder" --sort=name --owner=0 --group=0 --numeric-owner --mtime="@$SOURCE_DATE_EPOCH" -czf "$tree.tar.gz" "$name"
  rm -rf "$tree"
}

install_missing "${build_packages[@]}" "${packaging_packages[@]}" || exit 3
SOURCE_DATE_EPOCH=$(git -C "$root" log -1 --format=%ct 2>/dev/null || date +%s)
export SOURCE_DATE_EPOCH
build_preset package all || exit 3
rm -f "$folder"/*.deb "$folder"/*.tar.gz
(cd "$folder" && cpack >/dev/null)
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$folder/CMakeCache.txt")
make_tarball "siminfo-$version-linux-x86_64"
lintian --fail-on error "$folder"/*.deb
ls "$folder"/*.deb "$folder"/*.tar.gz
