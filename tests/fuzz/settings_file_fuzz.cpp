/// The settings file reader takes what the reference reading takes, and refuses the rest.

#include <vector>

#include "fuzz/fuzz.hpp"
#include "fuzz/reference_reader.hpp"
#include "s_solver/driver/settings_file.hpp"
#include "text/io_error.hpp"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using s_solver::fuzz::check;
  using End = s_solver::fuzz::ReferenceReader::End;
  const std::string_view content = s_solver::fuzz::Bytes(data, size).rest();
  s_solver::fuzz::write_file(s_solver::fuzz::own_directory() / "tmp_S_Par" / "f_data.ini", content);

  s_solver::fuzz::ReferenceReader reference(content);
  std::vector<int> order{1};
  std::vector<int> limit{1};
  const bool acceptable = reference.read(order) == End::complete && reference.read(limit) == End::complete;

  int read_order = 1;
  int read_limit = 1;
  bool accepted = true;
  try {
    s_solver::read_settings_file("..\\tmp_S_Par\\f_data.ini", read_order, read_limit);
  } catch (const text::IoError& error) {
    accepted = false;
    check(error.details().item == 1, "the error names the item");
    check(error.details().record >= 1, "the error names a record");
  }
  check(accepted == acceptable, "what holds two integers is accepted, nothing else");
  if (accepted) {
    check(read_order == order[0] && read_limit == limit[0], "the values agree");
  }
  return 0;
}
