/// The factorisations and the eigenvalues of the library, against LAPACK of the installed serial OpenBLAS and
/// against Eigen, both as they are configured by default.
///
/// The candidates for a size take turns, and of each the least time of all rounds counts.

#include <Eigen/Dense>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "numerics/eigenvalues.hpp"
#include "numerics/hermitian_eigenvalues.hpp"
#include "numerics/inverse_factor.hpp"
#include "numerics/ordered_triangle.hpp"
#include "numerics/orthogonal_factorisation.hpp"
#include "numerics/positive_definite.hpp"
#include "numerics/triangle_condition.hpp"

// The trailing lengths belong to the character arguments.
extern "C" {
void dgeqrf_(const int* m, const int* n, double* a, const int* lda, double* tau, double* work,
             const int* lwork, int* info);
void dormqr_(const char* side, const char* trans, const int* m, const int* n, const int* k, const double* a,
             const int* lda, const double* tau, double* c, const int* ldc, double* work, const int* lwork,
             int* info, std::size_t, std::size_t);
void dgeqp3_(const int* m, const int* n, double* a, const int* lda, int* jpvt, double* tau, double* work,
             const int* lwork, int* info);
void dpotrf_(const char* uplo, const int* n, double* a, const int* lda, int* info, std::size_t);
void dtrtri_(const char* uplo, const char* diag, const int* n, double* a, const int* lda, int* info,
             std::size_t, std::size_t);
void dtrcon_(const char* norm, const char* uplo, const char* diag, const int* n, const double* a,
             const int* lda, double* rcond, double* work, int* iwork, int* info, std::size_t, std::size_t,
             std::size_t);
void dgeev_(const char* jobvl, const char* jobvr, const int* n, double* a, const int* lda, double* wr,
            double* wi, double* vl, const int* ldvl, double* vr, const int* ldvr, double* work,
            const int* lwork, int* info, std::size_t, std::size_t);
void zheev_(const char* jobz, const char* uplo, const int* n, std::complex<double>* a, const int* lda,
            double* w, std::complex<double>* work, const int* lwork, double* rwork, int* info, std::size_t,
            std::size_t);
void zpotrf_(const char* uplo, const int* n, std::complex<double>* a, const int* lda, int* info, std::size_t);
}

namespace {

using numerics::Matrix;
using Dense = Eigen::MatrixXd;

struct Candidate {
  std::string name;
  std::function<void()> work;
};

/// Keeps results in being that nobody looks at.
volatile double kept = 0.0;

Matrix random_matrix(std::size_t rows, std::size_t columns) {
  std::mt19937_64 generator(1);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  Matrix a(rows, columns);
  std::generate(a.elements.begin(), a.elements.end(), [&] { return uniform(generator); });
  return a;
}

Dense eigen_matrix(const Matrix& a) {
  return Eigen::Map<const Dense>(a.elements.data(), static_cast<Eigen::Index>(a.rows),
                                 static_cast<Eigen::Index>(a.columns));
}

double milliseconds(const std::function<void()>& work, int repeats) {
  const auto before = std::chrono::steady_clock::now();
  for (int i = 0; i < repeats; ++i) {
    work();
  }
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - before).count() /
         repeats;
}

/// One line: the time of the first candidate, ours, and its share of the time of each other.
void compare(const std::string& what, const std::vector<Candidate>& candidates) {
  constexpr int rounds = 15;
  constexpr double least_time = 3.0;  // of a candidate in a round, in milliseconds
  std::vector<int> repeats;
  for (const Candidate& candidate : candidates) {
    candidate.work();
    repeats.push_back(1 + static_cast<int>(least_time / milliseconds(candidate.work, 1)));
  }
  std::vector<double> best(candidates.size(), 1e300);
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t i = 0; i < candidates.size(); ++i) {
      best[i] = std::min(best[i], milliseconds(candidates[i].work, repeats[i]));
    }
  }
  std::printf("%-38s %9.5f ms", what.c_str(), best[0]);
  for (std::size_t i = 1; i < candidates.size(); ++i) {
    std::printf("   %5.2f of %s (%.5f ms)", best[0] / best[i], candidates[i].name.c_str(), best[i]);
  }
  std::printf("\n");
}

std::string size_text(std::size_t rows, std::size_t columns) {
  return std::to_string(rows) + " x " + std::to_string(columns);
}

/// What LAPACK works in.
struct Work {
  std::vector<double> work = std::vector<double>(std::size_t{1} << 20);
  int lwork = 1 << 20;
  int info = 0;
};

void measure_orthogonal(std::size_t rows, std::size_t columns) {
  const Matrix a = random_matrix(rows, columns);
  const Matrix b = random_matrix(rows, columns);
  const auto m = static_cast<int>(rows);
  const auto n = static_cast<int>(columns);
  Work w;
  Matrix q = a;
  std::vector<double> tau(columns);
  const Dense eigen_a = eigen_matrix(a);
  Eigen::HouseholderQR<Dense> eigen_qr(eigen_a);
  compare("factorise " + size_text(rows, columns), {{"", [&] { kept = numerics::factorise(a).r(0, 0); }},
                                                    {"dgeqrf",
                                                     [&] {
                                                       q.elements = a.elements;
                                                       dgeqrf_(&m, &n, q.elements.data(), &m, tau.data(),
                                                               w.work.data(), &w.lwork, &w.info);
                                                     }},
                                                    {"Eigen", [&] { eigen_qr.compute(eigen_a); }}});

  const numerics::OrthogonalFactorisation factorisation = numerics::factorise(a);
  const Dense eigen_b = eigen_matrix(b);
  Matrix c = b;
  Dense eigen_c = eigen_b;
  compare("apply it to as many columns", {{"",
                                           [&] {
                                             c.elements = b.elements;
                                             numerics::apply_transposed(factorisation, c);
                                           }},
                                          {"dormqr",
                                           [&] {
                                             c.elements = b.elements;
                                             dormqr_("L", "T", &m, &n, &n, q.elements.data(), &m, tau.data(),
                                                     c.elements.data(), &m, w.work.data(), &w.lwork, &w.info,
                                                     1, 1);
                                           }},
                                          {"Eigen", [&] {
                                             eigen_c = eigen_b;
                                             eigen_c.applyOnTheLeft(eigen_qr.householderQ().transpose());
                                           }}});
}

void measure_small(std::size_t order) {
  const Matrix r = numerics::factorise(random_matrix(4 * order, order)).r;
  const auto n = static_cast<int>(order);
  Work w;
  Matrix q = r;
  std::vector<double> tau(order);
  std::vector<int> places(order);
  const Dense eigen_r = eigen_matrix(r);
  Eigen::ColPivHouseholderQR<Dense> eigen_qr(eigen_r);
  compare("ordered triangle " + std::to_string(order),
          {{"", [&] { kept = numerics::ordered_triangle(r).r(0, 0); }},
           {"dgeqp3",
            [&] {
              q.elements = r.elements;
              std::fill(places.begin(), places.end(), 0);
              dgeqp3_(&n, &n, q.elements.data(), &n, places.data(), tau.data(), w.work.data(), &w.lwork,
                      &w.info);
            }},
           {"Eigen", [&] { eigen_qr.compute(eigen_r); }}});

  compare("condition of a triangle " + std::to_string(order),
          {{"", [&] { kept = numerics::triangle_condition(r); }},
           {"dtrcon", [&] {
              double condition = 0.0;
              dtrcon_("1", "U", "N", &n, r.elements.data(), &n, &condition, w.work.data(), places.data(),
                      &w.info, 1, 1, 1);
              kept = condition;
            }}});

  Matrix a(order, order);
  const Dense eigen_a = eigen_r.transpose() * eigen_r;
  std::copy_n(eigen_a.data(), a.elements.size(), a.elements.begin());
  Dense inverse;
  // Ours also scales the matrix and finds the condition.
  compare("inverse factor " + std::to_string(order),
          {{"", [&] { kept = numerics::invert_positive(a)->condition; }},
           {"dpotrf, dtrtri",
            [&] {
              q.elements = a.elements;
              dpotrf_("L", &n, q.elements.data(), &n, &w.info, 1);
              dtrtri_("L", "N", &n, q.elements.data(), &n, &w.info, 1, 1);
            }},
           {"Eigen", [&] {
              inverse = Dense::Identity(n, n);
              Eigen::LLT<Dense>(eigen_a).matrixL().solveInPlace(inverse);
            }}});
}

/// The matrix of a relocation: poles as blocks, and what moves them.
Matrix state_matrix(std::size_t order) {
  const Matrix c = random_matrix(order, 1);
  Matrix a(order, order);
  for (std::size_t i = 0; i < order; i += 2) {
    const double omega = static_cast<double>(i + 1) / static_cast<double>(order);
    a(i, i) = a(i + 1, i + 1) = -0.01 * omega;
    a(i, i + 1) = omega;
    a(i + 1, i) = -omega;
    for (std::size_t j = 0; j < order; ++j) {
      a(i, j) -= 0.04 * c(j, 0);
    }
  }
  return a;
}

void measure_eigenvalues(const char* kind, const Matrix& a) {
  const auto n = static_cast<int>(a.rows);
  const int one = 1;
  Work w;
  Matrix q = a;
  std::vector<double> re(a.rows);
  std::vector<double> im(a.rows);
  const Dense eigen_a = eigen_matrix(a);
  Eigen::EigenSolver<Dense> solver(n);
  compare("eigenvalues " + std::to_string(n) + ", " + kind,
          {{"", [&] { kept = (*numerics::eigenvalues(a))[0].real(); }},
           {"dgeev",
            [&] {
              q.elements = a.elements;
              dgeev_("N", "N", &n, q.elements.data(), &n, re.data(), im.data(), nullptr, &one, nullptr, &one,
                     w.work.data(), &w.lwork, &w.info, 1, 1);
            }},
           {"Eigen, not balanced", [&] { solver.compute(eigen_a, false); }}});
}

/// A complex matrix in both forms, hermitian, and not far from so many times the identity.
struct Hermitian {
  Hermitian(std::size_t order, double shift) : parts(order, order), whole(order * order) {
    parts.re = random_matrix(order, order);
    const Matrix im = random_matrix(order, order + 1);
    for (std::size_t j = 0; j < order; ++j) {
      for (std::size_t i = j; i < order; ++i) {
        const std::complex<double> element(parts.re(i, j) + (i == j ? shift : 0.0),
                                           i == j ? 0.0 : im(i, j + 1));
        parts.set(i, j, element);
        parts.set(j, i, std::conj(element));
        whole[i + j * order] = element;
        whole[j + i * order] = std::conj(element);
      }
    }
  }
  numerics::ComplexMatrix parts;
  std::vector<std::complex<double>> whole;
};

void measure_hermitian(std::size_t order) {
  // More than the norm of a random matrix, so that the shifted one is positive definite.
  const double shift = 3.0 * std::sqrt(static_cast<double>(order));
  const Hermitian a(order, 0.0);
  const Hermitian shifted(order, shift);
  const auto n = static_cast<int>(order);
  std::vector<std::complex<double>> q;
  std::vector<std::complex<double>> work(std::size_t{1} << 20);
  const auto lwork = static_cast<int>(work.size());
  std::vector<double> values(order);
  std::vector<double> real_work(3 * order);
  int info = 0;
  const std::string size = std::to_string(order);
  for (const bool with_vectors : {false, true}) {
    const char* const what = with_vectors ? "V" : "N";
    compare(std::string("hermitian eigenvalues ") + size + (with_vectors ? " and vectors" : ""),
            {{"", [&] { kept = numerics::hermitian_eigenvalues(a.parts, with_vectors)->values[0]; }},
             {"zheev", [&] {
                q = a.whole;
                zheev_(what, "L", &n, q.data(), &n, values.data(), work.data(), &lwork, real_work.data(),
                       &info, 1, 1);
              }}});
  }
  // Ours also shifts and scales.
  compare("positive definite " + size,
          {{"", [&] { kept = numerics::is_positive_definite(a.parts, -shift) ? 1.0 : 0.0; }},
           {"zpotrf", [&] {
              q = shifted.whole;
              zpotrf_("L", &n, q.data(), &n, &info, 1);
              kept = info;
            }}});
}

void measure_all() {
  measure_orthogonal(8002, 162);
  measure_orthogonal(1002, 82);
  measure_orthogonal(2002, 41);
  for (const std::size_t order : {20U, 41U, 82U, 162U}) {
    measure_small(order);
  }
  for (const std::size_t order : {20U, 40U, 80U, 160U}) {
    measure_eigenvalues("random", random_matrix(order, order));
    measure_eigenvalues("relocation", state_matrix(order));
  }
  for (const std::size_t order : {2U, 4U, 8U, 20U, 83U, 245U}) {
    measure_hermitian(order);
  }
}

}  // namespace

int main() {
  try {
    measure_all();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "factorisations: %s\n", error.what());
    return 1;
  }
  return 0;
}
