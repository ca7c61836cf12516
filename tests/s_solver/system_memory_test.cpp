#include "s_solver/memory/system_memory.hpp"

#include "support.hpp"

namespace s_solver {
namespace {

constexpr std::uint64_t mebibyte = std::uint64_t{1} << 20;

/// A test that lays out the system's files in its own directory.
class SystemMemory : public testing_support::InOwnDirectory {
 protected:
  static void put(const std::string& name, const std::string& content) {
    const std::filesystem::path file = "system" + name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << content;
  }
  static void put_machine_with_3_gibibytes() {
    put("/proc/meminfo",
        "MemTotal:  8388608 kB\nMemAvailable:  2097152 kB\nSwapTotal: 9 kB\nSwapFree: 1048576 kB\n");
  }
};

TEST_F(SystemMemory, is_what_is_available_and_the_free_swap_space) {
  put_machine_with_3_gibibytes();
  EXPECT_EQ(available_memory("system"), 3072 * mebibyte);
}

TEST_F(SystemMemory, is_no_bound_where_the_system_does_not_tell) {
  EXPECT_EQ(available_memory("system"), ~std::uint64_t{0});
}

TEST_F(SystemMemory, is_bound_by_what_the_control_group_leaves) {
  put_machine_with_3_gibibytes();
  put("/proc/self/cgroup", "0::/box/inner\n");
  put("/sys/fs/cgroup/box/inner/memory.max", std::to_string(512 * mebibyte) + "\n");
  put("/sys/fs/cgroup/box/inner/memory.current", std::to_string(300 * mebibyte) + "\n");
  EXPECT_EQ(available_memory("system"), 212 * mebibyte);
}

TEST_F(SystemMemory, counts_file_pages_that_the_group_can_drop_as_free) {
  put_machine_with_3_gibibytes();
  put("/proc/self/cgroup", "0::/box\n");
  put("/sys/fs/cgroup/box/memory.max", std::to_string(512 * mebibyte) + "\n");
  put("/sys/fs/cgroup/box/memory.current", std::to_string(300 * mebibyte) + "\n");
  put("/sys/fs/cgroup/box/memory.stat", "anon 1\ninactive_file " + std::to_string(100 * mebibyte) + "\n");
  EXPECT_EQ(available_memory("system"), 312 * mebibyte);
}

TEST_F(SystemMemory, is_bound_by_groups_above_and_not_by_groups_without_a_limit) {
  put_machine_with_3_gibibytes();
  put("/proc/self/cgroup", "1:name=systemd:/elsewhere\n0::/box/inner\n");
  put("/sys/fs/cgroup/box/inner/memory.max", "max\n");
  for (const std::string above : {"/box", ""}) {
    put("/sys/fs/cgroup" + above + "/memory.max", std::to_string(100 * mebibyte) + "\n");
    put("/sys/fs/cgroup" + above + "/memory.current", std::to_string(200 * mebibyte) + "\n");
    EXPECT_EQ(available_memory("system"), 0U) << above;
    put("/sys/fs/cgroup" + above + "/memory.max", "max\n");
  }
}

TEST_F(SystemMemory, is_some_on_this_machine) { EXPECT_GT(available_memory(), mebibyte); }

}  // namespace
}  // namespace s_solver
