#include "cdf/notes.h"

#include <utility>

namespace tarvik::cdf {

namespace {

std::map<CDFid, FileNotes, std::less<>> files;

}  // namespace

void FileNotes::remove(long variable) {
  variables.erase(variable);
  for (auto next = variables.upper_bound(variable); next != variables.end();) {
    auto moved = variables.extract(next++);
    --moved.key();
    variables.insert(std::move(moved));
  }
}

FileNotes& notesOn(CDFid file) {
  return files[file];
}

NewNotes::NewNotes(bool opened) {
  decltype(files) one;
  one[nullptr].opened = opened;
  room_ = one.extract(one.begin());
}

void NewNotes::keepFor(CDFid file) {
  files.erase(file);
  room_.key() = file;
  files.insert(std::move(room_));
}

}  // namespace tarvik::cdf
