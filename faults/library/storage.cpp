// Ordinary reads, writes and deletes of records, and changes of how they are stored.
#include "faults/library/harness.h"

namespace tarvik::faults {

namespace {

/// Moves indices 1 and 2, of 6, of two compressed sparse records that were not written.
Seen partOfCompressedSparse(long function) {
  File file;
  const long x = file.variable(CDF_INT4, {6});
  file.compress(x, GZIP_COMPRESSION);
  cdf::onVariable(file.id, x, PUT_, zVAR_SPARSERECORDS_, 1L);
  const Guarded record(6 * sizeof(int)), part(4 * sizeof(int));
  file.slab(x, PUT_, {0, 1, 1, {0}, {6}, {1}}, record.data());
  file.slab(x, PUT_, {20, 1, 1, {0}, {6}, {1}}, record.data());
  file.slab(x, function, {1, 2, 1, {1}, {2}, {1}}, part.data());
  return file.fate();
}

Seen attributeFreedLast() {
  File file;
  const Guarded text(2000);
  int value = 0;
  const long x = file.variable(CDF_INT4, {}, NOVARY), a = file.attribute("a");
  CDFputAttrEntry(file.id, globalEntries, a, 0, CDF_INT1, 2000, text.data());
  file.value(x, PUT_, 0, &value);
  cdf::onVariable(file.id, x, DELETE_, zVAR_);
  cdf::onAttribute(file.id, a, DELETE_, ATTR_);
  return file.fate();
}

}  // namespace

const std::vector<Fault> storageFaults{
    {"fixed-records-overrun", "read two records at interval 2 where records do not vary",
     "fixed int4 6; put 0 0; get 0 0 2 2"},
    {"fixed-records-padded", "read three compressed records where records do not vary",
     "fixed int4 6; gzip 0; put 0 0; get 0 0 3"},
    {"compressed-sparse-read", "write compressed sparse records 0 and 20, read record 1",
     "new int4 6; gzip 0; sparse 0; put 0 0; put 0 20; get 0 1"},
    {"compressed-sparse-part-read", "the same, and read a part of records 1 and 2",
     [] { return partOfCompressedSparse(GET_); }},
    {"compressed-sparse-part-write", "the same, and write a part of records 1 and 2",
     [] { return partOfCompressedSparse(PUT_); }},
    {"allocated-sparse-records", "write a sparse record, allocate a block with it, write it again",
     "new int4 3; sparse 0; put 0 13; allocate 0 0 24; put 0 13"},
    {"few-stage-buffers", "one buffer for the scratch file, sparse records of two variables",
     "stage 1; new double 100 100; new double 100 100; gzip 0; gzip 1; sparse 0; sparse 1;"
     "put 0 0; put 1 0; put 0 5; put 1 5; put 0 2; put 1 2; put 0 30; put 1 30"},
    {"next-variable-overwritten",
     "delete a compressed variable's records, raise its blocking factor, write it",
     "new int4 3; new int4 3; gzip 0; gzip 1; block 0 1; put 0 0; put 1 0; delete 0 0 0;"
     "block 0 2; put 0 1"},
    {"allocated-end-records-deleted", "write records 0 and 1500, delete 0 and 1",
     "new double; put 0 0; put 0 1500; delete 0 0 1"},
    {"allocated-end-checksum", "the same with a checksum, delete the variable",
     "checksum; new double; put 0 0; put 0 1500; drop 0"},
    {"allocated-end-whole-file", "the same in a file compressed as a whole, delete the variable",
     "file rle; new double; put 0 0; put 0 1500; drop 0"},
    {"small-record-freed-last", "delete a variable of 4 bytes at the end of the file",
     "fixed int4; put 0 0; drop 0"},
    {"small-sparse-record-freed-last", "delete the only sparse record, of 12 bytes",
     "new int4 3; sparse 0; put 0 12; delete 0 0 18"},
    {"attribute-freed-last", "delete a small variable, then an attribute with a long entry",
     attributeFreedLast},
    {"staged-records-deleted", "delete compressed records that wait in the scratch file",
     "new int1 120; gzip 0; put 0 9; put 0 28; put 0 2081; put 0 239; put 0 1050; room;"
     "delete 0 14 34"},
    {"staged-sparse-records", "delete a variable, write sparse records 1, 2, 3 and 200",
     "new double 1000; put 0 9; drop 0; new double; block 0 1; sparse 0; put 0 1; put 0 2; put 0 3;"
     "put 0 200"},
    {"sparse-growth-over-room", "delete a variable, then write a sparse record behind others",
     "new int4 100; new int4 100; sparse 1; block 1 1; put 1 0 3; put 0 0; drop 0; put 0 10"},
    {"whole-file-compression-begun", "compress a file as a whole that has an allocated end",
     "new int1 256; new int1 64; put 0 1000; put 1 0; file rle"},
    {"whole-file-compression-ended", "end the compression of a file that has an allocated end",
     "new int2 226; file rle; allocate 0 108 326; file plain"},
    {"whole-file-deletes", "delete sparse and compressed records in a file compressed as a whole",
     "new int4 3; new int4 3; sparse 0; gzip 1; file rle; put 0 12; put 1 0 3; delete 1 2 2;"
     "delete 0 17 22; delete 1 1 1; put 1 1 3; reopen; drop 1; put 0 12 3"},
    {"compression-taken-off", "set the factor of a compressed variable, end its compression, write",
     "new int4 100; new int4 100; new int4 100; put 2 0; gzip 0; reopen; block 0 0; plain 0; put 0 "
     "0"},
    {"emptied-sparse-compressed", "compress a variable whose sparse records were all deleted",
     "new int2 3; new int2 3; sparse 1; put 1 3; delete 1 2 23; drop 0; gzip 0; put 0 0"},
    {"emptied-compressed-factor-0", "delete all compressed records, set blocking factor 0, write",
     "new int4; rle 0; put 0 0; delete 0 0 0; block 0 0; put 0 0"},
    {"empty-compressed-deleted", "delete records of an empty compressed variable, write it plain",
     "new int4; huff 0; delete 0 8 9; plain 0; put 0 0"},
    {"small-room-growth", "delete records of 12 bytes, then write into a block that grows",
     "new int4 3; block 0 1; put 0 8; delete 0 7 7; room; delete 0 5 7; put 0 8"},
};

}  // namespace tarvik::faults
