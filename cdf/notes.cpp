#include "cdf/notes.h"

#include <functional>
#include <utility>

namespace tarvik::cdf {

namespace {

std::map<CDFid, FileNotes, std::less<>> files;

}  // namespace

void FileNotes::remove(long variable) {
  for (const auto& [number, notes] : std::exchange(variables, {})) {
    if (number != variable) {
      variables[number > variable ? number - 1 : number] = notes;
    }
  }
}

FileNotes& notesOn(CDFid file) {
  return files[file];
}

void forgetNotes(CDFid file) {
  files.erase(file);
}

}  // namespace tarvik::cdf
