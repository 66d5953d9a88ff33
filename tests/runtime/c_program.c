// A plug-in may be written in C.
#include "host/plugin.h"

vlArray* cellOfTextInC(const char* text);

vlArray* cellOfTextInC(const char* text) {
  vlArray* cell = vlCreateCellMatrix(2, 1);
  vlSetCell(cell, 1, vlCreateString(text));
  return vlGetClassID(cell) == vlCELL_CLASS ? cell : NULL;
}
