/// Each stage of a run by itself, beside what the machine gives for work of the same shape in the same run.
///
/// STAGE/samples/poles is ours; STAGE:REFERENCE/samples/poles is somebody else's way through the same work or
/// through the same bytes. The counter "rate" has the unit that the label names. table.py makes a table of
/// it.

#include <benchmark/benchmark.h>
#include <cblas.h>

#include <algorithm>
#include <complex>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "numerics/angular_frequency.hpp"
#include "numerics/block_products.hpp"
#include "numerics/matrix_view.hpp"
#include "s_solver/dmatrix/deig.hpp"
#include "s_solver/dmatrix/dinvert_gauss_jordan.hpp"
#include "s_solver/dmatrix/morse_penrose_solve.hpp"
#include "s_solver/driver/sample_file.hpp"
#include "s_solver/fit/fit_evaluation.hpp"
#include "s_solver/fit/least_squares_system.hpp"
#include "s_solver/fit/pole_types.hpp"
#include "s_solver/output/write_coefficients.hpp"
#include "s_solver/output/write_data_to_plot.hpp"
#include "sample_data.hpp"

extern "C" {
void dgetrf_(const int* m, const int* n, double* a, const int* lda, int* pivots, int* info);
void dgetri_(const int* n, double* a, const int* lda, const int* pivots, double* work, const int* lwork,
             int* info);
void dgeev_(const char* left, const char* right, const int* n, double* a, const int* lda, double* wr,
            double* wi, double* vl, const int* ldvl, double* vr, const int* ldvr, double* work,
            const int* lwork, int* info, std::size_t, std::size_t);
}

namespace s_solver {
namespace {

using Complex = std::complex<double>;
using benchmark::State;

/// Samples and stable poles to work on.
struct Work {
  Work(int sample_count, int pole_count)
      : nf(sample_count), order(pole_count), data(benchmarks::sample_data(nf, 20)), f_fit(data.f) {
    for (int i = 0; i < order / 2; ++i) {
      const double omega = numerics::two_pi * 1e10 * (i + 1.0) / (order / 2);
      a.insert(a.end(), {{-0.01 * omega, omega}, {-0.01 * omega, -omega}});
      c.insert(c.end(), {{omega, 0.5 * omega}, {omega, -0.5 * omega}});
      types.insert(types.end(), {pair_leader, pair_follower});
    }
  }
  SampleSystem system(bool weighted) const {
    return {order, a.data(), types.data(), nf, data.f.data(), data.s.data(), 1, 1, weighted};
  }

  int nf;
  int order;
  benchmarks::SampleData data;
  std::vector<Complex> f_fit;
  std::vector<Complex> a;
  std::vector<Complex> c;
  std::vector<int> types;
};

Work work_of(const State& state) {
  return {static_cast<int>(state.range(0)), static_cast<int>(state.range(1))};
}

void set_rate(State& state, double amount_per_iteration, const char* unit) {
  state.counters["rate"] =
      benchmark::Counter(1e-9 * amount_per_iteration, benchmark::Counter::kIsIterationInvariantRate);
  state.SetLabel(unit);
}

/// The system as one stored matrix, and what the BLAS makes of it.
struct StoredSystem {
  explicit StoredSystem(const SampleSystem& system)
      : nr(system.rows()),
        nc(system.columns()),
        a(size(nr, nc)),
        b(size(nr, 1)),
        square(size(nc, nc)),
        inverse(size(nc, nc), 0.5),
        left_inverse(size(nr, nc)),
        x(size(nc, 1)) {
    system.make_rows(0, nr, {a.data(), nr, nc, nr}, b.data());
  }
  static std::size_t size(int rows, int columns) {
    return static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
  }
  void dgemm() {
    cblas_dgemm(CblasColMajor, CblasTrans, CblasNoTrans, nc, nc, nr, 1.0, a.data(), nr, a.data(), nr, 0.0,
                square.data(), nc);
  }
  void dsyrk() {
    cblas_dsyrk(CblasColMajor, CblasLower, CblasTrans, nc, nr, 1.0, a.data(), nr, 0.0, square.data(), nc);
  }
  void apply_left_inverse() {
    cblas_dgemm(CblasColMajor, CblasNoTrans, CblasTrans, nc, nr, nc, 1.0, inverse.data(), nc, a.data(), nr,
                0.0, left_inverse.data(), nc);
    cblas_dgemv(CblasColMajor, CblasNoTrans, nc, nr, 1.0, left_inverse.data(), nc, b.data(), 1, 0.0, x.data(),
                1);
  }

  int nr;
  int nc;
  std::vector<double> a;
  std::vector<double> b;
  std::vector<double> square;
  std::vector<double> inverse;
  std::vector<double> left_inverse;
  std::vector<double> x;
};

void assembly(State& state) {
  const Work work = work_of(state);
  const SampleSystem system = work.system(true);
  const auto most = static_cast<int>(numerics::rows_per_block(system.columns()));
  std::vector<double> block(StoredSystem::size(most + 8, system.columns()));
  std::vector<double> b(static_cast<std::size_t>(most));
  for (auto _ : state) {
    for (int first = 0; first < system.rows(); first += most) {
      const int count = std::min(most, system.rows() - first);
      system.make_rows(first, count, {block.data(), count, system.columns(), most + 8}, b.data());
    }
    benchmark::ClobberMemory();
  }
  set_rate(state, 8.0 * system.rows() * system.columns(), "GB/s");
}

/// A block of rows, used again and again; a fit makes each anew, which only both_solves includes.
struct CachedBlock {
  explicit CachedBlock(const Work& work)
      : system(work.system(true)),
        columns(system.columns()),
        rows(static_cast<int>(numerics::rows_per_block(columns))),
        blocks((system.rows() + rows - 1) / rows),
        size((columns + numerics::column_step - 1) / numerics::column_step * numerics::column_step),
        a(StoredSystem::size(rows + 8, columns)),
        b(static_cast<std::size_t>(rows), 1.0),
        square(StoredSystem::size(size, size), 0.5),
        scratch(StoredSystem::size(rows, size)),
        x(static_cast<std::size_t>(size)) {
    system.make_rows(0, std::min(rows, system.rows()), {a.data(), rows, columns, rows + 8}, b.data());
  }
  numerics::MatrixView<const double> view() const { return {a.data(), rows, columns, rows + 8}; }
  double flops() const { return 2.0 * system.rows() * columns * columns; }

  SampleSystem system;
  int columns;
  int rows;
  int blocks;
  int size;
  std::vector<double> a;
  std::vector<double> b;
  std::vector<double> square;
  std::vector<double> scratch;
  std::vector<double> x;
};

void normal_matrix(State& state) {
  const Work work = work_of(state);
  CachedBlock block(work);
  for (auto _ : state) {
    for (int i = 0; i < block.blocks; ++i) {
      numerics::add_gram_matrix(block.view(), {block.square.data(), block.size, block.size, block.size},
                                block.scratch.data(), numerics::widest_vector_unit());
    }
    benchmark::ClobberMemory();
  }
  set_rate(state, block.flops(), "GF/s");
}

void normal_matrix_dgemm(State& state) {
  StoredSystem stored(work_of(state).system(true));
  for (auto _ : state) {
    stored.dgemm();
    benchmark::ClobberMemory();
  }
  set_rate(state, 2.0 * stored.nr * stored.nc * stored.nc, "GF/s");
}

void normal_matrix_dsyrk(State& state) {
  StoredSystem stored(work_of(state).system(true));
  for (auto _ : state) {
    stored.dsyrk();
    benchmark::ClobberMemory();
  }
  set_rate(state, 2.0 * stored.nr * stored.nc * stored.nc, "GF/s");
}

void left_inverse(State& state) {
  const Work work = work_of(state);
  CachedBlock block(work);
  const int rows = (block.columns + numerics::left_inverse_rows - 1) / numerics::left_inverse_rows *
                   numerics::left_inverse_rows;
  for (auto _ : state) {
    for (int i = 0; i < block.blocks; ++i) {
      numerics::add_left_inverse_product({block.square.data(), rows, block.columns, block.size}, block.view(),
                                         block.rows, block.b.data(), block.x.data(), block.scratch.data(),
                                         numerics::widest_vector_unit());
    }
    benchmark::ClobberMemory();
  }
  set_rate(state, block.flops(), "GF/s");
}

void left_inverse_dgemm(State& state) {
  StoredSystem stored(work_of(state).system(true));
  for (auto _ : state) {
    stored.apply_left_inverse();
    benchmark::ClobberMemory();
  }
  set_rate(state, 2.0 * stored.nr * stored.nc * stored.nc, "GF/s");
}

/// Both systems of an iteration: rows made, normal matrices, inverses, left inverses, solutions.
void both_solves(State& state) {
  const Work work = work_of(state);
  std::vector<double> x(static_cast<std::size_t>(2 * work.order + 2));
  for (auto _ : state) {
    morse_penrose_solve(work.system(true), x.data(), false);
    morse_penrose_solve(work.system(false), x.data(), false);
    benchmark::ClobberMemory();
  }
  state.SetLabel("time");
}

/// The BLAS calls alone that such solves are made of, on stored matrices.
void both_solves_blas(State& state) {
  StoredSystem relocation(work_of(state).system(true));
  StoredSystem residues(work_of(state).system(false));
  for (auto _ : state) {
    for (StoredSystem* const stored : {&relocation, &residues}) {
      stored->dgemm();
      stored->apply_left_inverse();
    }
    benchmark::ClobberMemory();
  }
  state.SetLabel("time");
}

/// A well-conditioned square matrix of the size of the normal matrix, or of the state matrix.
std::vector<double> square_matrix(int n) {
  std::mt19937_64 generator(2);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  std::vector<double> a(StoredSystem::size(n, n));
  std::generate(a.begin(), a.end(), [&] { return uniform(generator); });
  for (int i = 0; i < n; ++i) {
    a[static_cast<std::size_t>(i) * static_cast<std::size_t>(n + 1)] += n;
  }
  return a;
}

void gauss_jordan(State& state) {
  const int n = 2 * static_cast<int>(state.range(1)) + 2;
  const std::vector<double> a = square_matrix(n);
  std::vector<double> inverse(a.size());
  for (auto _ : state) {
    dinvert_gauss_jordan(a.data(), n, inverse.data(), n);
    benchmark::ClobberMemory();
  }
  set_rate(state, 2.0 * n * n * n, "GF/s");
}

void gauss_jordan_lapack(State& state) {
  const int n = 2 * static_cast<int>(state.range(1)) + 2;
  const std::vector<double> a = square_matrix(n);
  std::vector<double> inverse(a.size());
  std::vector<double> room(a.size());
  std::vector<int> pivots(static_cast<std::size_t>(n));
  const int size = n * n;
  int info = 0;
  for (auto _ : state) {
    inverse = a;
    dgetrf_(&n, &n, inverse.data(), &n, pivots.data(), &info);
    dgetri_(&n, inverse.data(), &n, pivots.data(), room.data(), &size, &info);
    benchmark::ClobberMemory();
  }
  set_rate(state, 2.0 * n * n * n, "GF/s");
}

void eigenvalues(State& state) {
  const auto n = static_cast<int>(state.range(1));
  const std::vector<double> a = square_matrix(n);
  std::vector<Complex> values(static_cast<std::size_t>(n));
  for (auto _ : state) {
    deig(a.data(), n, values.data(), n);
    benchmark::ClobberMemory();
  }
  set_rate(state, 10.0 * n * n * n, "GF/s");
}

void eigenvalues_lapack(State& state) {
  const auto n = static_cast<int>(state.range(1));
  const std::vector<double> a = square_matrix(n);
  std::vector<double> copy(a.size());
  std::vector<double> room(a.size() + 64);
  std::vector<double> re(a.size());
  std::vector<double> im(a.size());
  const int size = std::max(n * n, 4 * n);
  room.resize(static_cast<std::size_t>(size));
  int info = 0;
  for (auto _ : state) {
    copy = a;
    dgeev_("N", "N", &n, copy.data(), &n, re.data(), im.data(), nullptr, &n, nullptr, &n, room.data(), &size,
           &info, 1, 1);
    benchmark::ClobberMemory();
  }
  set_rate(state, 10.0 * n * n * n, "GF/s");
}

void evaluation(State& state) {
  Work work = work_of(state);
  for (auto _ : state) {
    calculate_fit_function(work.order, work.a.data(), work.c.data(), 0.1, 0.0, work.nf, work.f_fit.data(),
                           work.data.s.data());
    benchmark::ClobberMemory();
  }
  set_rate(state, static_cast<double>(work.nf) * work.order, "Gquotients/s");
}

void evaluation_language(State& state) {
  Work work = work_of(state);
  for (auto _ : state) {
    for (std::size_t k = 0; k < work.f_fit.size(); ++k) {
      Complex sum = 0.1;
      for (std::size_t i = 0; i < work.a.size(); ++i) {
        sum += work.c[i] / (work.data.s[k] - work.a[i]);
      }
      work.f_fit[k] = sum;
    }
    benchmark::ClobberMemory();
  }
  set_rate(state, static_cast<double>(work.nf) * work.order, "Gquotients/s");
}

void error_of_fit(State& state) {
  const Work work = work_of(state);
  double error = 0.0;
  for (auto _ : state) {
    calculate_error(work.nf, work.data.f.data(), work.f_fit.data(), work.data.s.data(), error);
    benchmark::DoNotOptimize(error);
  }
  set_rate(state, 32.0 * work.nf, "GB/s");
}

void copy_of_bytes(State& state, std::size_t bytes) {
  const std::vector<char> from(bytes, 'x');
  std::vector<char> to(bytes);
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), bytes);
    benchmark::ClobberMemory();
  }
  set_rate(state, static_cast<double>(bytes), "GB/s");
}

void error_copy(State& state) { copy_of_bytes(state, 16U * static_cast<std::size_t>(state.range(0))); }

constexpr const char* sample_file = "f_data.in";

/// Writes samples with all their digits; returns the size of the file.
std::size_t write_sample_file(int nf) {
  const benchmarks::SampleData data = benchmarks::sample_data(nf, 4);
  std::FILE* const file = std::fopen(sample_file, "w");
  for (std::size_t k = 0; k < data.s.size(); ++k) {
    std::fprintf(file, "%.17g %.17g %.17g\n", data.s[k].imag() / numerics::two_pi, data.f[k].real(),
                 data.f[k].imag());
  }
  std::fclose(file);
  return std::filesystem::file_size(sample_file);
}

void reading(State& state) {
  auto nf = static_cast<int>(state.range(0));
  const std::size_t bytes = write_sample_file(nf);
  std::vector<Complex> s(static_cast<std::size_t>(nf));
  std::vector<Complex> f(s.size());
  double fmin = 0.0;
  double fmax = 0.0;
  for (auto _ : state) {
    read_data_from_file(sample_file, count_and_store, nf, fmin, fmax, s.data(), f.data());
  }
  set_rate(state, static_cast<double>(bytes), "GB/s");
}

void reading_file(State& state) {
  const std::size_t bytes = write_sample_file(static_cast<int>(state.range(0)));
  std::vector<char> buffer(std::size_t{1} << 16);
  for (auto _ : state) {
    std::FILE* const file = std::fopen(sample_file, "r");
    while (std::fread(buffer.data(), 1, buffer.size(), file) == buffer.size()) {
    }
    std::fclose(file);
  }
  set_rate(state, static_cast<double>(bytes), "GB/s");
}

void reading_copy(State& state) { copy_of_bytes(state, write_sample_file(static_cast<int>(state.range(0)))); }

// The result files go where a run puts them.
const std::filesystem::path plot_file = "../tmp_S_Par/f_data.out";

void plot(State& state) {
  const Work work = work_of(state);
  for (auto _ : state) {
    write_data_to_plot(work.nf, work.data.f.data(), work.f_fit.data(), work.data.s.data());
  }
  set_rate(state, static_cast<double>(std::filesystem::file_size(plot_file)), "GB/s");
}

void plot_file_alone(State& state) {
  const std::size_t bytes = 113U * static_cast<std::size_t>(state.range(0));
  const std::vector<char> buffer(std::size_t{1} << 16, 'x');
  for (auto _ : state) {
    std::FILE* const file = std::fopen(plot_file.c_str(), "w");
    for (std::size_t written = 0; written < bytes; written += buffer.size()) {
      std::fwrite(buffer.data(), 1, std::min(buffer.size(), bytes - written), file);
    }
    std::fclose(file);
  }
  set_rate(state, static_cast<double>(bytes), "GB/s");
}

void plot_copy(State& state) { copy_of_bytes(state, 113U * static_cast<std::size_t>(state.range(0))); }

void coefficients(State& state) {
  const Work work = work_of(state);
  // The records of the coefficients on standard output are not what is measured.
  std::FILE* const kept = std::freopen("/dev/null", "w", stdout);
  static_cast<void>(kept);
  for (auto _ : state) {
    write_coefficients(work.order, work.a.data(), work.c.data(), work.c.data(), 0.1, 0.0, 1e8, 1e10, work.nf);
  }
  set_rate(state, static_cast<double>(std::filesystem::file_size("../tmp_S_Par/Tarn.coe")), "GB/s");
}

/// Registers a function for every number of samples and of poles whose stored matrix stays below 700 MB.
void add(const char* name, void (*function)(State&),
         const std::vector<int>& samples = {1000, 10000, 100000, 1000000},
         const std::vector<int>& orders = {4, 20, 60, 100}) {
  auto* const entry = benchmark::RegisterBenchmark(name, function);
  for (const int nf : samples) {
    for (const int order : orders) {
      if (16.0 * nf * (2 * order + 2) < 700e6) {
        entry->Args({nf, order});
      }
    }
  }
  entry->Unit(benchmark::kMillisecond);
}

void add_all() {
  const std::vector<int> one{20};
  add("read", reading, {1000, 10000, 100000, 1000000}, one);
  add("read:file_alone", reading_file, {1000, 10000, 100000, 1000000}, one);
  add("read:memory_copy", reading_copy, {1000, 10000, 100000, 1000000}, one);
  add("assembly", assembly);
  add("normal_matrix", normal_matrix);
  add("normal_matrix:dgemm", normal_matrix_dgemm);
  add("normal_matrix:dsyrk", normal_matrix_dsyrk);
  add("left_inverse", left_inverse);
  add("left_inverse:dgemm_dgemv", left_inverse_dgemm);
  add("both_solves", both_solves);
  add("both_solves:blas_alone", both_solves_blas);
  add("gauss_jordan", gauss_jordan, {1000});
  add("gauss_jordan:lapack", gauss_jordan_lapack, {1000});
  add("eigenvalues", eigenvalues, {1000});
  add("eigenvalues:lapack", eigenvalues_lapack, {1000});
  add("evaluation", evaluation);
  add("evaluation:language", evaluation_language);
  add("error", error_of_fit, {1000, 10000, 100000, 1000000}, one);
  add("error:memory_copy", error_copy, {1000, 10000, 100000, 1000000}, one);
  add("plot_file", plot, {1000, 10000, 100000, 1000000}, one);
  add("plot_file:file_alone", plot_file_alone, {1000, 10000, 100000, 1000000}, one);
  add("plot_file:memory_copy", plot_copy, {1000, 10000, 100000, 1000000}, one);
  add("coefficients", coefficients, {1000});
}

}  // namespace
}  // namespace s_solver

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  s_solver::add_all();
  benchmark::RunSpecifiedBenchmarks();
}
