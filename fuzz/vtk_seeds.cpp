// Seeds for the VTK harness: a mixed mesh written by the library, hand-
// written files of both cell layouts, polygonal data, and a binary file.
#include "qz4/tessellix/formats.h"
#include "viewing_fuzz.h"

namespace {

void big_endian(std::string& s, const void* p, std::size_t n) {
  for (std::size_t i = n; i-- > 0;) s += static_cast<const char*>(p)[i];
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 1;
  qz4::dense2D<double> pos(3, 10, 0.5);
  qz4::dense2D<unsigned> tetra(10, 1);
  for (unsigned i = 0; i < 10; ++i) tetra(i, 0) = i;
  const std::string tmp = std::string(argv[1]) + "/.tmp.vtk";
  qz4::tessellix::vtk_output(tmp.c_str(), pos, tetra, qz4::ET_TETRA10);
  qz4fuzz::seed(argv[1], "written", qz4fuzz::bytes_of(tmp));
  const std::string head = "# vtk DataFile Version 2.0\nt\nASCII\nDATASET UNSTRUCTURED_GRID\n";
  qz4fuzz::seed(argv[1], "cells",
                head +
                    "FIELD f 1\nTIME 1 1 double\n0\nPOINTS 4 float\n0 0 0 1 0 0 0 1 0 0 0 1\n"
                    "CELLS 5 21\n4 0 1 2 3\n3 0 1 2\n4 0 1 2 3\n5 0 1 2 3 0\n2 0 1\n"
                    "CELL_TYPES 5\n10\n7\n8\n7\n3\nPOINT_DATA 4\n");
  qz4fuzz::seed(argv[1], "polydata",
                "# vtk DataFile Version 2.0\n\nASCII\nDATASET POLYDATA\nPOINTS 4 int\n"
                "0 0 0 1 0 0 1 1 0 0 1 0\nVERTICES 1 2\n1 3\nLINES 1 3\n2 0 1\nPOLYGONS 1 5\n"
                "4 0 1 2 3\nTRIANGLE_STRIPS 1 5\n4 0 1 3 2\n");
  std::string b =
      "# vtk DataFile Version 5.1\nt\nBINARY\nDATASET UNSTRUCTURED_GRID\nPOINTS 4 double\n";
  for (double v : {0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0})
    big_endian(b, &v, 8);
  b += "\nMETADATA\nINFORMATION 0\n\nCELLS 3 7\nOFFSETS vtktypeint64\n";
  for (std::int64_t v : {0, 4, 7}) big_endian(b, &v, 8);
  b += "\nCONNECTIVITY vtktypeint64\n";
  for (std::int64_t v : {0, 1, 2, 3, 0, 1, 2}) big_endian(b, &v, 8);
  b += "\nCELL_TYPES 2\n";
  for (std::int32_t v : {10, 5}) big_endian(b, &v, 4);
  qz4fuzz::seed(argv[1], "binary", b);
  return 0;
}
