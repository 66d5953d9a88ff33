# What every installed tree must look like. Sourced.
# shellcheck shell=bash

die() {
  printf 'error: %s\n' "$*" >&2
  exit 1
}

# look_at TREE PROJECT: the folder of the plug-ins in the tree goes to `libraries`. No file of the
# tree may name a folder of the project, and the libraries may look for others beside them only. The
# terms of the CDF library and of the project lie in the tree.
look_at() {
  local tree=$1 project=$2 name plugin library exported found
  plugin=$(find "$tree" -name tarvik.so)
  [ -f "$plugin" ] || die "there is not one tarvik.so in $tree"
  libraries=$(dirname -- "$plugin")

  for name in tarvik.so tarvik_extended.so; do
    plugin=$libraries/$name
    exported=$(nm -D --defined-only "$plugin" | cut -d' ' -f3)
    [ "$exported" = vlpFunction ] || die "$name exports $exported"
    ! readelf -d "$plugin" | grep -qF libvlhost || die "$name names a host"
    found=$(ldd "$plugin")
    for library in "$libraries"/lib*; do
      [[ $library == */libvlhost.so || $found == *"=> $library "* ]] ||
        die "$name does not find $library beside it"
    done
  done
  for name in CDF tarvik; do
    [ -s "$(find "$tree" -path "*/licenses/$name.txt")" ] || die "the licence of $name is missing"
  done
  while read -r library; do
    if readelf -d "$library" | sed -n 's/.*R.*PATH.*\[\(.*\)\]/\1/p' | grep -vxE '[$]ORIGIN(/lib)?'; then
      die "$library looks for libraries in that folder"
    fi
  done < <(find "$tree" -name '*.so*' ! -name 'libcdf*')
  if grep -rlF --exclude-dir=__pycache__ -e "$project" "$tree"; then
    die "these files name $project"
  fi
}
