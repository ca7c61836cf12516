#include "polefit_cli/commands/declaration.hpp"

#include <optional>
#include <string>

#include "polefit/network_matrix.hpp"
#include "polefit_cli/commands/about.hpp"

namespace polefit_cli {
namespace {

struct OnePort {
  char parameter = 'S';
  double reference = 50.0;
};

/// What is declared, with the gaps filled; nothing when nothing is.
std::optional<OnePort> declared(const Declaration& declaration,
                                const std::optional<polefit::NetworkMatrix>& known) {
  if (!declaration.parameter && !declaration.reference) {
    return std::nullopt;
  }
  OnePort port;
  if (known) {
    port.parameter = known->parameter;
    port.reference = known->ports() == 1 ? known->references.front() : port.reference;
  }
  return OnePort{declaration.parameter.value_or(port.parameter),
                 declaration.reference.value_or(port.reference)};
}

}  // namespace

void declare(polefit::Network& network, const Declaration& declaration) {
  if (const auto port = declared(declaration, network.matrix)) {
    polefit::declare_one_port(network, port->parameter, port->reference);
  }
}

void declare(polefit::Model& model, const std::string& file, const Declaration& declaration) {
  if (const auto port = declared(declaration, model.network)) {
    about(file, [&] { polefit::declare_one_port(model, port->parameter, port->reference); });
  }
}

}  // namespace polefit_cli
