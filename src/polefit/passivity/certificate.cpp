#include "polefit/passivity/certificate.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <limits>
#include <utility>

#include "numerics/hermitian_eigenvalues.hpp"
#include "numerics/positive_definite.hpp"
#include "numerics/tile_products.hpp"

namespace polefit {
namespace {

using Complex = std::complex<double>;

/// Chebyshev polynomials of H: of degree 0 to 15, two groups of rows.
constexpr std::size_t terms = 16;
/// Points at which G, of twice the degree, is formed: more than its coefficients, four groups of rows.
constexpr std::size_t nodes = 32;
constexpr int first_pieces = 8;
/// Times the farthest pole: omega up to there, 1 / omega beyond.
constexpr double far = 2.0;
/// Where the sum of |G_k| from k = 2 on is less than this part of all, it takes more than a curve in one
/// direction to keep a piece from being told.
constexpr double flat = 1e-3;
/// Ends of violating intervals are found to this part of the frequency ...
constexpr double resolution = 1e-6;
/// ... intervals, which sharp resonances make narrower than that, are looked for to this one ...
constexpr double narrowest = 1e-9;
/// ... and pieces smaller than this are not halved any more.
constexpr double smallest = 1e-13;
constexpr double eps = std::numeric_limits<double>::epsilon();

/// T_k at the nodes, which are those of Chebyshev, and the factors of the cosine transform back.
struct Transforms {
  Transforms() : values(nodes, terms), coefficients(nodes, nodes) {
    for (std::size_t m = 0; m < nodes; ++m) {
      const double angle = std::acos(-1.0) * (static_cast<double>(m) + 0.5) / static_cast<double>(nodes);
      for (std::size_t k = 0; k < terms; ++k) {
        values(m, k) = -std::cos(static_cast<double>(k) * angle);
      }
      for (std::size_t k = 0; k < nodes; ++k) {
        coefficients(k, m) =
            -(k == 0 ? 1.0 : 2.0) / static_cast<double>(nodes) * std::cos(static_cast<double>(k) * angle);
      }
    }
  }
  // Both with the sign that a product which is subtracted takes away.
  Matrix values;
  Matrix coefficients;
};

const Transforms& transforms() {
  static const Transforms made;
  return made;
}

/// b -= v w.
void subtract(const Matrix& v, const Matrix& w, Matrix& b) {
  numerics::subtract_product(numerics::part_of(v, 0, 0, v.rows, v.columns),
                             numerics::part_of(w, 0, 0, w.rows, w.columns),
                             numerics::part_of(b, 0, 0, b.rows, b.columns), numerics::widest_vector_unit());
}

void clear(Matrix& a) { std::fill(a.elements.begin(), a.elements.end(), 0.0); }

/// sqrt(p - 1) sqrt(p + 1), with the sign that makes |p + r| > 1.
Complex root_of(Complex p) { return std::sqrt(p - 1.0) * std::sqrt(p + 1.0); }

double norm_of_column_block(const Matrix& a, std::size_t row) {
  double squares = 0.0;
  for (std::size_t j = 0; j < a.columns; ++j) {
    squares += a(row, j) * a(row, j);
  }
  return std::sqrt(squares);
}

/// What is to be said of a piece.
enum class Verdict { below, above, open };

class Judge {
 public:
  Judge(const ScaledModel& model, double limit)
      : model_(model),
        limit_(limit),
        elements_(model.ports * model.ports),
        basis_re_(terms, model.functions()),
        basis_im_(terms, model.functions()),
        h_re_(terms, elements_),
        h_im_(terms, elements_),
        at_re_(nodes, elements_),
        at_im_(nodes, elements_),
        g_re_(nodes, elements_),
        g_im_(nodes, elements_),
        c_re_(nodes, elements_),
        c_im_(nodes, elements_),
        part_(model.ports, model.ports) {
    for (std::size_t k = 0; k < model.functions(); ++k) {
      norms_.push_back(norm_of_column_block(model.x, k));
    }
  }

  Verdict judge(const Piece& piece) {
    expand(piece);
    form_g();
    return verdict();
  }

 private:
  /// The series of H on the piece, its remainder and what rounding does to it.
  void expand(const Piece& piece) {
    clear(basis_re_);
    clear(basis_im_);
    remainder_ = 0.0;
    rounding_ = 0.0;
    const double h = 0.5 * (piece.high - piece.low);
    const double c = piece.middle();
    // The series of a partial fraction as `sign` times it, and j times it, stand for in a basis function.
    struct Series {
      std::array<Complex, terms> values;
      double left;
      double sum;
    };
    const auto series_of = [&](Complex a) {
      const Complex j(0.0, 1.0);
      const Complex p = piece.reciprocal ? (j / a - c) / h : (-j * a - c) / h;
      const Complex scale = piece.reciprocal ? -j / (a * a) / h : 1.0 / (j * h);
      const Complex r = root_of(p);
      const Complex q = 1.0 / (p + r);
      Series series;
      Complex value = -scale / r;
      series.sum = 0.0;
      for (std::size_t k = 0; k < terms; ++k) {
        series.values[k] = value;
        series.sum += std::abs(value);
        value *= k == 0 ? 2.0 * q : q;
      }
      const double size = std::abs(q);
      // Nothing bounds the rest where rounding of the piece's ends hides how far the pole is from it; where
      // it is 16 times as far, r and 1 - |q| are right to a thirtieth each.
      const double hidden = 64.0 * eps * ((std::abs(c) + std::abs(piece.reciprocal ? 1.0 / a : a)) / h);
      const double distance = std::abs(p - std::clamp(p.real(), -1.0, 1.0));
      series.left = distance > hidden ? 1.1 * std::abs(value) / std::max(1.0 - size, eps)
                                      : std::numeric_limits<double>::infinity();
      if (piece.reciprocal) {
        series.values[0] -= 1.0 / a;
        series.sum += std::abs(1.0 / a);
      }
      return series;
    };
    const auto set = [&](std::size_t k, std::size_t function, Complex value) {
      // Negative, since the product is subtracted.
      basis_re_(k, function) = -value.real();
      basis_im_(k, function) = -value.imag();
    };
    for_each_group(
        model_.poles,
        [&](std::size_t i) {
          const Series u = series_of(model_.poles[i]);
          for (std::size_t k = 0; k < terms; ++k) {
            set(k, i, u.values[k]);
          }
          remainder_ += norms_[i] * u.left;
          rounding_ += norms_[i] * u.sum;
        },
        [&](std::size_t i) {
          const Series u = series_of(model_.poles[i]);
          const Series v = series_of(model_.poles[i + 1]);
          for (std::size_t k = 0; k < terms; ++k) {
            set(k, i, u.values[k] + v.values[k]);
            set(k, i + 1, Complex(0.0, 1.0) * (u.values[k] - v.values[k]));
          }
          const double norm = std::hypot(norms_[i], norms_[i + 1]);
          remainder_ += norm * (u.left + v.left);
          rounding_ += norm * (u.sum + v.sum);
        });
    const std::size_t constant = model_.poles.size();
    basis_re_(0, constant) = -1.0;
    rounding_ += norms_[constant];
    clear(h_re_);
    clear(h_im_);
    subtract(basis_re_, model_.x, h_re_);
    subtract(basis_im_, model_.x, h_im_);
    remainder_ += rounding_each * eps * rounding_;
  }

  void form_g() {
    if (!model_.scattering) {
      form_hermitian_part(h_re_, h_im_, c_re_, c_im_);
      return;
    }
    clear(at_re_);
    clear(at_im_);
    subtract(transforms().values, h_re_, at_re_);
    subtract(transforms().values, h_im_, at_im_);
    const std::size_t n = model_.ports;
    for (std::size_t j = 0; j < n; ++j) {
      for (std::size_t i = j; i < n; ++i) {
        double* const re = g_re_.column(i + j * n);
        double* const im = g_im_.column(i + j * n);
        std::fill_n(re, nodes, i == j ? limit_ * limit_ : 0.0);
        std::fill_n(im, nodes, 0.0);
        // conj(h_ki) h_kj
        for (std::size_t k = 0; k < n; ++k) {
          const double* const ar = at_re_.column(k + i * n);
          const double* const ai = at_im_.column(k + i * n);
          const double* const br = at_re_.column(k + j * n);
          const double* const bi = at_im_.column(k + j * n);
          for (std::size_t m = 0; m < nodes; ++m) {
            re[m] -= ar[m] * br[m] + ai[m] * bi[m];
            im[m] -= ar[m] * bi[m] - ai[m] * br[m];
          }
        }
      }
    }
    clear(c_re_);
    clear(c_im_);
    subtract(transforms().coefficients, g_re_, c_re_);
    subtract(transforms().coefficients, g_im_, c_im_);
  }

  /// The limit of eigenvalues in a unit that makes it least on the piece; with any other of its values it is
  /// up to `uncertain_` more.
  double least_limit() {
    uncertain_ = 0.0;
    if (!model_.by_norm) {
      return limit_ * model_.scale;
    }
    double norm = 0.0;
    double others = remainder_;
    for (std::size_t k = 0; k < terms; ++k) {
      double squares = 0.0;
      for (std::size_t j = 0; j < elements_; ++j) {
        squares += h_re_(k, j) * h_re_(k, j) + h_im_(k, j) * h_im_(k, j);
      }
      (k == 0 ? norm : others) += std::sqrt(squares);
    }
    const double least = std::max(model_.scale, norm - others);
    const double most = std::max(model_.scale, norm + others);
    uncertain_ = std::abs(limit_) * (most - least);
    return limit_ * (limit_ > 0.0 ? least : most);
  }

  /// (H + H^H) / 2 + limit I, the lower triangle.
  void form_hermitian_part(const Matrix& h_re, const Matrix& h_im, Matrix& g_re, Matrix& g_im) {
    const std::size_t n = model_.ports;
    const double shift = least_limit() - model_.least;
    clear(g_re);
    clear(g_im);
    for (std::size_t j = 0; j < n; ++j) {
      for (std::size_t i = j; i < n; ++i) {
        for (std::size_t k = 0; k < terms; ++k) {
          g_re(k, i + j * n) = 0.5 * (h_re(k, i + j * n) + h_re(k, j + i * n));
          g_im(k, i + j * n) = 0.5 * (h_im(k, i + j * n) - h_im(k, j + i * n));
        }
      }
      g_re(0, j + j * n) += shift;
    }
  }

  /// The Frobenius norm of G_k.
  double norm_of(std::size_t k) const {
    const std::size_t n = model_.ports;
    double squares = 0.0;
    for (std::size_t j = 0; j < n; ++j) {
      for (std::size_t i = j; i < n; ++i) {
        const double re = c_re_(k, i + j * n);
        const double im = c_im_(k, i + j * n);
        squares += (i == j ? 1.0 : 2.0) * (re * re + im * im);
      }
    }
    return std::sqrt(squares);
  }

  /// G_0 + sign G_1, the lower triangle.
  const ComplexMatrix& end(double sign) {
    const std::size_t n = model_.ports;
    for (std::size_t j = 0; j < n; ++j) {
      for (std::size_t i = j; i < n; ++i) {
        part_.re(i, j) = c_re_(0, i + j * n) + sign * c_re_(1, i + j * n);
        part_.im(i, j) = c_im_(0, i + j * n) + sign * c_im_(1, i + j * n);
      }
    }
    return part_;
  }

  /// G at the middle of the piece, the lower triangle.
  const ComplexMatrix& middle() {
    const std::size_t n = model_.ports;
    for (std::size_t j = 0; j < n; ++j) {
      for (std::size_t i = j; i < n; ++i) {
        double re = 0.0;
        double im = 0.0;
        double sign = 1.0;
        for (std::size_t k = 0; k < nodes; k += 2) {
          re += sign * c_re_(k, i + j * n);
          im += sign * c_im_(k, i + j * n);
          sign = -sign;
        }
        part_.re(i, j) = re;
        part_.im(i, j) = im;
      }
    }
    return part_;
  }

  Verdict verdict() {
    std::array<double, nodes> norms{};
    double sum = 0.0;
    double beyond = 0.0;
    for (std::size_t k = 0; k < nodes; ++k) {
      norms[k] = norm_of(k);
      sum += norms[k];
      beyond += k >= 2 ? norms[k] : 0.0;
    }
    if (!std::isfinite(sum + remainder_)) {
      return Verdict::open;
    }
    double blur = remainder_;
    if (model_.scattering) {
      const double size = std::sqrt(limit_ * limit_ + sum);
      blur = (2.0 * size + remainder_) * remainder_ +
             rounding_each * eps * size * size * static_cast<double>(model_.ports);
    }
    const double needed = beyond + blur;
    if (is_at_least(end(1.0), needed) && is_at_least(end(-1.0), needed)) {
      return Verdict::below;
    }
    if (beyond < flat * sum && is_positive_by_direction(norms, beyond, blur)) {
      return Verdict::below;
    }
    if (numerics::is_positive_definite(middle(), 0.0)) {
      return Verdict::open;
    }
    const std::optional<numerics::HermitianEigenvalues> found =
        numerics::hermitian_eigenvalues(middle(), true);
    if (!found) {
      return Verdict::open;
    }
    witness_ = found->values.front() < -blur - uncertain_;
    // u^H G u for the lowest eigenvector u of the middle, bounded from above over the piece.
    double highest = quadratic_form(found->vectors, 0);
    for (std::size_t k = 1; k < nodes; ++k) {
      highest += std::abs(quadratic_form(found->vectors, k));
    }
    return highest + blur + uncertain_ < 0.0 ? Verdict::above : Verdict::open;
  }

  /// Whether G_0 +- G_1 - sum |G_k| has no eigenvalue below what the remainder can do, |G_k| being the
  /// modulus of a matrix: as T_k is from -1 to 1, T_k G_k + |G_k| is positive semidefinite. What loses
  /// nothing in one direction at any frequency, as a series element does, has no curvature in this one,
  /// whatever it has in others.
  bool is_positive_by_direction(const std::array<double, nodes>& norms, double beyond, double blur) {
    const std::size_t n = model_.ports;
    ComplexMatrix moduli(n, n);
    double rest = beyond;
    double rounding = 0.0;
    const auto left_of = [&](double sign) {
      ComplexMatrix left = end(sign);
      for (std::size_t j = 0; j < n; ++j) {
        for (std::size_t i = j; i < n; ++i) {
          left.set(i, j, left(i, j) - moduli(i, j));
        }
      }
      return left;
    };
    const auto is_positive = [&](double needed) {
      return is_at_least(left_of(1.0), needed) && is_at_least(left_of(-1.0), needed);
    };
    for (std::size_t k = 2; rest > blur; ++k) {
      if (k == nodes || !is_positive(blur + rounding)) {
        return false;
      }
      const auto found = numerics::hermitian_eigenvalues(coefficient(k), true);
      if (!found) {
        return false;
      }
      add_modulus(*found, moduli);
      rest -= norms[k];
      rounding += 10.0 * static_cast<double>(n) * eps * norms[k];
    }
    return is_positive(blur + rounding + std::max(rest, 0.0));
  }

  /// moduli += V |values| V^H, the lower triangle.
  static void add_modulus(const numerics::HermitianEigenvalues& found, ComplexMatrix& moduli) {
    const std::size_t n = moduli.rows();
    for (std::size_t j = 0; j < n; ++j) {
      for (std::size_t i = j; i < n; ++i) {
        Complex sum = moduli(i, j);
        for (std::size_t k = 0; k < n; ++k) {
          sum += std::abs(found.values[k]) * found.vectors(i, k) * std::conj(found.vectors(j, k));
        }
        moduli.set(i, j, sum);
      }
    }
  }

  /// G_k, the lower triangle.
  const ComplexMatrix& coefficient(std::size_t k) {
    const std::size_t n = model_.ports;
    for (std::size_t j = 0; j < n; ++j) {
      for (std::size_t i = j; i < n; ++i) {
        part_.set(i, j, {c_re_(k, i + j * n), c_im_(k, i + j * n)});
      }
    }
    return part_;
  }

  /// Whether no eigenvalue of a is below a value, for certain: what a positive definite answer leaves open is
  /// added.
  static bool is_at_least(const ComplexMatrix& a, double value) {
    const auto n = static_cast<double>(a.rows());
    double trace = 0.0;
    for (std::size_t i = 0; i < a.rows(); ++i) {
      trace += std::abs(a.re(i, i) - value);
    }
    return numerics::is_positive_definite(a, value + 2.0 * (n + 1.0) * eps * trace);
  }

  /// u^H G_k u for the first column u of the vectors.
  double quadratic_form(const ComplexMatrix& u, std::size_t k) const {
    const std::size_t n = model_.ports;
    double sum = 0.0;
    for (std::size_t j = 0; j < n; ++j) {
      sum += c_re_(k, j + j * n) * std::norm(u(j, 0));
      for (std::size_t i = j + 1; i < n; ++i) {
        const Complex product = std::conj(u(i, 0)) * u(j, 0);
        sum += 2.0 * (c_re_(k, i + j * n) * product.real() - c_im_(k, i + j * n) * product.imag());
      }
    }
    return sum;
  }

 public:
  /// Whether the middle of the piece judged last exceeds the limit for certain.
  bool has_witness() const { return witness_; }
  void forget_witness() { witness_ = false; }

 private:
  /// Of sums that are rounded once a term.
  static constexpr double rounding_each = 4.0;

  const ScaledModel& model_;
  double limit_;
  std::size_t elements_;
  std::vector<double> norms_;  // of each X_k
  // Rows are degrees or nodes, columns functions or elements of a matrix.
  Matrix basis_re_;
  Matrix basis_im_;
  Matrix h_re_;
  Matrix h_im_;
  Matrix at_re_;
  Matrix at_im_;
  Matrix g_re_;
  Matrix g_im_;
  Matrix c_re_;
  Matrix c_im_;
  ComplexMatrix part_;
  double remainder_ = 0.0;
  double rounding_ = 0.0;
  double uncertain_ = 0.0;
  bool witness_ = false;
};

/// From zero to infinity, so that the last one comes first.
std::vector<Piece> whole_axis(const ScaledModel& model) {
  double farthest = 1.0;
  for (const Complex pole : model.poles) {
    farthest = std::max(farthest, std::abs(pole));
  }
  const double middle = far * farthest;
  std::vector<Piece> pieces;
  pieces.reserve(std::size_t{2} * first_pieces);
  for (int i = 0; i < first_pieces; ++i) {
    pieces.push_back({true, i / (first_pieces * middle), (i + 1) / (first_pieces * middle)});
  }
  for (int i = first_pieces; i-- > 0;) {
    pieces.push_back({false, middle * i / first_pieces, middle * (i + 1) / first_pieces});
  }
  return pieces;
}

/// Widths below which pieces are not halved, of omega and of its reciprocal: no pole is so near to an end of
/// the axis that anything could happen within them.
struct SmallestPieces {
  explicit SmallestPieces(const ScaledModel& model) {
    double nearest = 1.0;
    double farthest = 1.0;
    for (const Complex pole : model.poles) {
      nearest = std::min(nearest, std::abs(pole));
      farthest = std::max(farthest, std::abs(pole));
    }
    of_omega = nearest;
    of_reciprocal = 1.0 / farthest;
  }
  /// The width over the place, or over what is nothing there.
  double relative_width(const Piece& piece) const {
    return (piece.high - piece.low) / std::max(piece.high, piece.reciprocal ? of_reciprocal : of_omega);
  }
  double of_omega;
  double of_reciprocal;
};

/// Whether a resonance may be hidden in a piece: a pole over it or beside it, not damped much more than the
/// piece is wide.
bool has_sharp_pole(const ScaledModel& model, const Piece& piece) {
  constexpr double beside = 8.0;
  const double a = piece.frequency(piece.low);
  const double b = piece.frequency(piece.high);
  const double width = std::abs(b - a);
  return std::any_of(model.poles.begin(), model.poles.end(), [&](std::complex<double> pole) {
    const double damping = std::abs(pole.real());
    return damping < beside * width && std::abs(pole.imag() - 0.5 * (a + b)) < width + beside * damping;
  });
}

}  // namespace

double Piece::frequency(double place) const {
  if (!reciprocal) {
    return place;
  }
  return place > 0.0 ? 1.0 / place : std::numeric_limits<double>::infinity();
}

std::size_t affordable_pieces(const ScaledModel& model) {
  constexpr double operations = 5e11;
  constexpr double fewest = 2000.0;
  constexpr double most = 1e5;
  const auto ports = static_cast<double>(model.ports);
  // The products of matrices at the nodes; the series of each element, and its way to the nodes and back.
  const double of_products = 4.0 * nodes * ports;
  const double of_series =
      4.0 * terms * (static_cast<double>(model.functions()) + nodes) + 4.0 * nodes * nodes;
  return static_cast<std::size_t>(
      std::clamp(operations / (ports * ports * (of_products + of_series)), fewest, most));
}

Certificate certify(const ScaledModel& model, double limit, Thoroughness thoroughness, std::size_t most) {
  Certificate certificate;
  most = std::min(most, affordable_pieces(model));
  Judge judge(model, limit);
  const SmallestPieces sizes(model);
  std::vector<Piece> open = whole_axis(model);
  while (!open.empty()) {
    const Piece piece = open.back();
    open.pop_back();
    if (certificate.pieces == most) {
      certificate.decided = false;
      break;
    }
    ++certificate.pieces;
    judge.forget_witness();
    const Verdict verdict = judge.judge(piece);
    if (verdict == Verdict::below) {
      continue;
    }
    const bool exceeded = verdict == Verdict::above || judge.has_witness();
    if (exceeded && !certificate.witness) {
      certificate.witness = piece.frequency(piece.middle());
    }
    if (exceeded && thoroughness == Thoroughness::yes_or_no) {
      break;
    }
    const double width = sizes.relative_width(piece);
    if (verdict == Verdict::above || (judge.has_witness() && width < resolution)) {
      certificate.violating.push_back(piece);
      continue;
    }
    // Once it is known not to hold, what is left open at the ends of intervals is not worth any more pieces.
    const bool known = certificate.witness && thoroughness == Thoroughness::intervals;
    const double enough = known ? (has_sharp_pole(model, piece) ? narrowest : resolution) : smallest;
    if (width < enough) {
      certificate.decided = certificate.decided && known;
      certificate.untold.push_back(piece);
      continue;
    }
    const Piece lower{piece.reciprocal, piece.low, piece.middle()};
    const Piece upper{piece.reciprocal, piece.middle(), piece.high};
    // The one with the lower frequencies comes next.
    open.push_back(piece.reciprocal ? lower : upper);
    open.push_back(piece.reciprocal ? upper : lower);
  }
  certificate.holds = certificate.decided && !certificate.witness && certificate.violating.empty();
  return certificate;
}

}  // namespace polefit
