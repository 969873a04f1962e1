// Writes the seeds: small inputs for the fuzz targets to start from. Usage: make_seeds DIRECTORY
#include <filesystem>
#include <fstream>

#include "support/bytes.h"

namespace {

using test::Bytes;

std::filesystem::path corpus;

void write(const std::string& target, const std::string& name, const Bytes& bytes) {
  std::filesystem::create_directories(corpus / target);
  std::ofstream(corpus / target / name, std::ios::binary) << bytes;
}

void writePcbin() {
  const auto write = [](const std::string& name, char reader, const Bytes& file) {
    ::write("pcbin_file", name, reader + Bytes("\1\0\0\0\2\0\0\0", 8) + file);
  };
  const Bytes coloured = test::rgbFile(2, 2);
  const Bytes lidar = test::pcbHeader(2, 3) + test::irtFrame(0, 1, {{1, 2, 3, 4, 5}, {}}) +
                      test::irtFrame(1, 2, {{}}, {0.5F, 0.5F, 0.5F, 0.5F}, {1, 2, 3});
  write("coloured", 0, coloured);
  write("lidar", 1, lidar);
  write("viewed", 2, coloured);
  write("mixed", 0, coloured + lidar.substr(68));
  write("no_frames", 1, test::pcbHeader(0, 0));
  write("empty_frame", 2,
        test::pcbHeader(1, 0) + test::rgbFrame(0, 1, {}) + coloured.substr(68, 128));
  write("cut", 0, coloured.substr(0, coloured.size() - 1));
  write("odd_values", 2,
        test::pcbHeader(1, 1) +
            test::rgbFrame(0, 1, {{1e30F, -1e30F, 0, -1, 1e10F, 255.9F, 65535, 300}}));
  write("false_count", 0,
        test::pcbHeader(1, 1) + test::frameHeader(10, 0, 0, 107374080) + coloured);
}

void writePoses() {
  const Bytes line =
      test::poseLine(1, {{1, 2, 3}, {0.5, 0.5, 0.5, 0.5}}, {{4, 5, 6}, {1, 0, 0, 0}});
  write("pose_file", "two_sweeps", "# time,id\n" + test::poseLine(0, {}, {}) + line);
  write("pose_file", "no_break_at_the_end", line.substr(0, line.size() - 1));
  write("pose_file", "carriage_returns", "\r\n" + line.substr(0, line.size() - 1) + "\r\n");
  write("pose_file", "too_many_fields", line.substr(0, line.size() - 1) + ",1\n" + line);
  write("pose_file", "id_too_large", "1,99999999" + line.substr(line.find(",1000")));
  write("pose_file", "bad_numbers", "1e999,1" + line.substr(line.find(",1000")) + "nan" + line);
  write("pose_file", "empty", "");
}

void writeLas() {
  Bytes announcing = test::lasFile(3);
  test::patch<std::uint32_t>(announcing, 107, 4294967295);
  Bytes scaled = test::lasFile(3);
  test::patch(scaled, 131, 1e300);
  test::patch(scaled, 139, -0.01);
  test::patch(scaled, 147, 0.0);
  Bytes other = test::lasFile(1);
  test::patch<std::uint8_t>(other, 104, 1);
  const std::pair<const char*, Bytes> files[] = {
      {"three_records", test::lasFile(3)},
      {"no_records", test::lasFile(0)},
      {"count_too_high", announcing},
      {"cut_record", test::lasFile(3).substr(0, 300)},
      {"cut_header", test::lasFile(0).substr(0, 226)},
      {"other_scales", scaled},
      {"other_format", other},
  };
  for (const auto& [name, las] : files) {
    write("las_repair", name, las);
    write("las_view", name, Bytes("\1\1\0\0\0\5\0\0\0", 9) + las);
  }
}

void writeCommandLines() {
  write("command_line", "convert", "-i\na.pcbin\n-f\na.csv\n-o\nd/a.las\n--offset\n-1.5\n-.5\n1e6");
  write("command_line", "view", "-b\na.pcbin\n-s\n2147483647\n-n\n-1\n-v\n1\n-d\n2");
  write("command_line", "repair", "--repair\n/data/map.las\n-r");
  write("command_line", "refused", "-h\n---\n-\n");
  write("command_line", "numbers",
        "-s\n 12x\n-n\n0x1f\n-v\n99999999999\n--offset\nnan\n1e-400\ninf,,2");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 1;
  corpus = argv[1];
  writePcbin();
  writePoses();
  writeLas();
  writeCommandLines();
}
