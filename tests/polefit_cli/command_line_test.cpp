#include "polefit_cli/commands/command_line.hpp"

#include <gtest/gtest.h>

#include <string>
#include <variant>
#include <vector>

namespace {

using namespace polefit_cli;

std::variant<Command, Answer> parsed(const std::vector<const char*>& arguments) {
  return parse_command_line(arguments);
}

template <class Wanted>
Wanted command(const std::vector<const char*>& arguments) {
  const auto result = parsed(arguments);
  if (const Answer* const answer = std::get_if<Answer>(&result)) {
    ADD_FAILURE() << answer->text;
    return {};
  }
  return std::get<Wanted>(std::get<Command>(result));
}

std::string complaint(const std::vector<const char*>& arguments) {
  const auto result = parsed(arguments);
  const Answer* const answer = std::get_if<Answer>(&result);
  if (answer == nullptr || !answer->is_error) {
    ADD_FAILURE() << "accepted";
    return {};
  }
  EXPECT_EQ(answer->text.find('\n'), std::string::npos) << answer->text;
  return answer->text;
}

std::string answer(const std::vector<const char*>& arguments) {
  const auto result = parsed(arguments);
  const Answer* const found = std::get_if<Answer>(&result);
  if (found == nullptr || found->is_error) {
    ADD_FAILURE() << "no answer";
    return {};
  }
  return found->text;
}

TEST(CommandLine, a_fit_without_options_searches_for_the_order) {
  const auto fit = command<FitCommand>({"fit", "filter.s2p"});
  EXPECT_EQ(fit.network.file, "filter.s2p");
  EXPECT_EQ(fit.network.format, polefit::NetworkFormat::by_name);
  EXPECT_FALSE(fit.poles);
  EXPECT_FALSE(fit.error);
  EXPECT_TRUE(fit.options.constant);
  EXPECT_FALSE(fit.options.proportional);
  EXPECT_TRUE(fit.options.stable);
  EXPECT_GE(fit.options.threads, 1);
  EXPECT_TRUE(fit.output.empty());
}

TEST(CommandLine, every_option_of_a_fit_arrives) {
  const auto fit = command<FitCommand>({"fit",
                                        "--poles",
                                        "21",
                                        "--real",
                                        "3",
                                        "--spacing",
                                        "LOG",
                                        "--no-constant",
                                        "--proportional",
                                        "--no-stable",
                                        "--weights",
                                        "relative",
                                        "--responses",
                                        "S21,S11",
                                        "--exact-dc",
                                        "--iterations",
                                        "7",
                                        "--threads",
                                        "2",
                                        "--orthogonal",
                                        "--format",
                                        "csv",
                                        "-q",
                                        "-o",
                                        "m.json",
                                        "net.txt",
                                        "--parameter",
                                        "Z",
                                        "--reference",
                                        "75"});
  EXPECT_EQ(fit.poles, 21U);
  EXPECT_EQ(fit.real, 3U);
  EXPECT_EQ(fit.options.placement, polefit::Placement::logarithmic);
  EXPECT_FALSE(fit.options.constant);
  EXPECT_TRUE(fit.options.proportional);
  EXPECT_FALSE(fit.options.stable);
  EXPECT_EQ(fit.weighting, polefit::Weighting::relative);
  EXPECT_EQ(fit.responses, (std::vector<std::string>{"S21", "S11"}));
  EXPECT_TRUE(fit.exact_dc);
  EXPECT_EQ(fit.options.iterations, 7);
  EXPECT_EQ(fit.options.threads, 2);
  EXPECT_TRUE(fit.options.orthogonal);
  EXPECT_EQ(fit.network.format, polefit::NetworkFormat::csv);
  EXPECT_TRUE(fit.quiet);
  EXPECT_EQ(fit.output, "m.json");
  EXPECT_EQ(fit.network.file, "net.txt");
  EXPECT_EQ(fit.declaration.parameter, 'Z');
  EXPECT_EQ(fit.declaration.reference, 75.0);
}

TEST(CommandLine, every_option_of_a_search_arrives) {
  const auto fit = command<FitCommand>({"fit", "a.s2p", "--error", "1e-5", "--measure", "worst",
                                        "--max-poles", "12", "--weights-file", "w.txt", "--constant"});
  EXPECT_EQ(fit.error, 1e-5);
  EXPECT_EQ(fit.measure, polefit::Measure::worst_response);
  EXPECT_EQ(fit.most_poles, 12U);
  EXPECT_EQ(fit.weights_file, "w.txt");
}

TEST(CommandLine, the_standard_streams_are_names_too) {
  const auto fit = command<FitCommand>({"fit", "-", "-o", "-"});
  EXPECT_EQ(fit.network.file, "-");
  EXPECT_EQ(fit.output, "-");
}

TEST(CommandLine, the_options_of_the_other_commands_arrive) {
  const auto plot = command<PlotCommand>({"plot", "m.json", "a.s2p", "-o", "f.svg", "--responses", "S21"});
  EXPECT_EQ(plot.model, "m.json");
  ASSERT_TRUE(plot.network);
  EXPECT_EQ(plot.network->file, "a.s2p");
  EXPECT_EQ(plot.output, "f.svg");
  EXPECT_EQ(plot.responses, (std::vector<std::string>{"S21"}));
  EXPECT_EQ(command<FitCommand>({"fit", "--responses", "S21", "a.s2p"}).network.file, "a.s2p");
  EXPECT_TRUE(command<PlotCommand>({"plot", "m.json", "--poles", "-o", "p.png"}).poles);

  const auto chosen = command<ExportCommand>({"export", "m.json", "--touchstone", "--grid", "1:2:3", "--data",
                                              "db", "--touchstone-version", "2", "-o", "x.s2p"});
  EXPECT_EQ(chosen.kind, ExportKind::touchstone);
  EXPECT_EQ(chosen.touchstone.format, polefit::ComplexFormat::db);
  EXPECT_EQ(chosen.touchstone.version, 2);
  EXPECT_EQ(chosen.frequencies, (std::vector<double>{1.0, 1.5, 2.0}));
  EXPECT_EQ(chosen.output, "x.s2p");
  EXPECT_EQ(command<ExportCommand>({"export", "m.json", "--spice", "--name", "f"}).name, "f");
  EXPECT_EQ(command<ExportCommand>({"export", "m.json", "--s-solver", "--response", "S11"}).response, "S11");
  EXPECT_EQ(command<ExportCommand>({"export", "m.json", "--s-solver", "--highest-frequency", "2.4 GHz"})
                .highest_frequency,
            2.4e9);
  EXPECT_EQ(command<ExportCommand>({"export", "m.json", "--state-space"}).output, "-");

  EXPECT_EQ(command<EvalCommand>({"eval", "m.json", "--grid", "1G"}).frequencies, (std::vector<double>{1e9}));
  const auto eval = command<EvalCommand>({"eval", "m.json", "--format", "csv", "--like", "a.txt"});
  ASSERT_TRUE(eval.like);
  EXPECT_EQ(eval.like->file, "a.txt");
  EXPECT_EQ(eval.like->format, polefit::NetworkFormat::csv);
  EXPECT_EQ(command<InfoCommand>({"info", "m.json"}).file.file, "m.json");

  const auto passivity = command<PassivityCommand>(
      {"passivity", "m.json", "-o", "p.svg", "--all", "--parameter", "Z", "--reference", "75"});
  EXPECT_EQ(passivity.model, "m.json");
  EXPECT_EQ(passivity.output, "p.svg");
  EXPECT_TRUE(passivity.all);
  EXPECT_EQ(passivity.declaration.parameter, 'Z');
  EXPECT_EQ(passivity.declaration.reference, 75.0);
  EXPECT_FALSE(command<PassivityCommand>({"passivity", "m.json"}).all);
}

TEST(CommandLine, what_does_not_fit_together_is_refused_in_one_line) {
  complaint({});
  complaint({"fit"});
  complaint({"frobnicate"});
  complaint({"fit", "a.s2p", "--poles", "many"});
  complaint({"fit", "a.s2p", "--poles", "-3"});
  complaint({"fit", "a.s2p", "--poles", "2", "--spacing", "cubic"});
  complaint({"fit", "a.s2p", "--error", "0"});
  complaint({"fit", "a.s2p", "--threads", "0"});
  complaint({"fit", "a.s2p", "b.s2p"});
  complaint({"fit", "a.s2p", "--unknown"});
  complaint({"plot", "m.json", "-o", "f.svg"});
  complaint({"plot", "m.json", "a.s2p"});
  complaint({"export", "m.json"});
  complaint({"export", "m.json", "--spice", "--csv"});
  complaint({"eval", "m.json", "--grid", "1", "--like", "a.s2p"});
  EXPECT_NE(complaint({"fit", "a.s2p", "--poles", "4", "--real", "1"}).find("conjugate"), std::string::npos);
  EXPECT_NE(complaint({"fit", "a.s2p", "--poles", "4", "--real", "5"}).find("more than"), std::string::npos);
  EXPECT_NE(complaint({"fit", "a.s2p", "--real", "5"}).find("--poles"), std::string::npos);
}

/// An option that has no effect beside the others, and a part of the line that says so.
struct WithoutEffect {
  std::vector<const char*> arguments;
  const char* part;
};

TEST(CommandLine, a_target_may_stand_beside_an_order) {
  const auto fit =
      command<FitCommand>({"fit", "a.s2p", "--poles", "4", "--error", "0.1", "--measure", "largest"});
  EXPECT_EQ(fit.poles, 4U);
  EXPECT_EQ(fit.error, 0.1);
  EXPECT_EQ(fit.measure, polefit::Measure::largest_error);
}

TEST(CommandLine, an_option_without_effect_is_refused_with_its_reason) {
  const std::vector<WithoutEffect> cases{
      {{"fit", "a.s2p", "--poles", "4", "--max-poles", "3"}, "--max-poles has no effect with --poles: "},
      {{"fit", "a.s2p", "--poles", "4", "--measure", "worst"},
       "--measure has no effect with --poles and without --error: "},
      {{"fit", "a.s2p", "--real", "2"}, "--real has no effect without --poles: "},
      {{"fit", "a.s2p", "--weights", "root", "--weights-file", "w"},
       "--weights has no effect with --weights-file"},
      {{"plot", "m.json", "a.s2p", "--poles", "-o", "f.svg"}, "NETWORK has no effect with --poles: "},
      {{"plot", "m.json", "--poles", "--responses", "S21", "-o", "f.svg"},
       "--responses has no effect with --poles: "},
      {{"plot", "m.json", "--poles", "--panels", "3", "-o", "f.svg"},
       "--panels has no effect with --poles: "},
      {{"plot", "m.json", "--poles", "--format", "csv", "-o", "f.svg"},
       "--format has no effect without NETWORK"},
      {{"plot", "m.json", "a.s2p", "--responses", "S21", "--panels=3", "-o", "f.svg"},
       "--panels has no effect with --responses: "},
      {{"export", "m.json", "--spice", "--grid", "1G"},
       "--grid has no effect without --touchstone or --csv: "},
      {{"export", "m.json", "--s-solver", "--grid", "1G"},
       "--grid has no effect without --touchstone or --csv: "},
      {{"export", "m.json", "--csv", "--response", "S21"}, "--response has no effect without --s-solver: "},
      {{"export", "m.json", "--csv", "--data", "ma"}, "--data has no effect without --touchstone: "},
      {{"export", "m.json", "--spice", "--touchstone-version", "2"},
       "--touchstone-version has no effect without --touchstone"},
      {{"export", "m.json", "--touchstone", "--name", "x"}, "--name has no effect without --spice: "},
      {{"export", "m.json", "--csv", "--parameter", "Y"}, "--parameter has no effect without "},
      {{"export", "m.json", "--state-space", "--reference", "5"}, "--reference has no effect without "}};
  for (const WithoutEffect& refused : cases) {
    const std::string line = complaint(refused.arguments);
    EXPECT_TRUE(line.starts_with(refused.part)) << line << "\nexpected " << refused.part;
  }
}

TEST(CommandLine, numbers_of_all_forms_are_decimal) {
  EXPECT_EQ(command<FitCommand>({"fit", "a.s2p", "--poles", "010"}).poles, 10U);
  EXPECT_EQ(command<FitCommand>({"fit", "a.s2p", "--poles", "1e1"}).poles, 10U);
  EXPECT_EQ(command<FitCommand>({"fit", "a.s2p", "--poles", "2", "--iterations", "4.0"}).options.iterations,
            4);
  EXPECT_EQ(command<FitCommand>({"fit", "a.s2p", "--error", "1d-3"}).error, 1e-3);
  EXPECT_EQ(command<FitCommand>({"fit", "a.s2p", "--reference", "5e1"}).declaration.reference, 50.0);
  EXPECT_NE(complaint({"fit", "a.s2p", "--poles", "4.5"}).find("found \"4.5\", expected a whole number"),
            std::string::npos);
  complaint({"fit", "a.s2p", "--poles", "4", "--poles", "6"});
}

TEST(CommandLine, what_was_found_and_what_was_expected_is_told) {
  EXPECT_EQ(
      complaint({"frobnicate"}),
      "found \"frobnicate\", expected fit, plot, passivity, export, eval, time, convert or info; see polefit "
      "--help");
  EXPECT_EQ(complaint({"fit", "a.s2p", "--poles", "2", "--spacing", "cubic"}),
            "--spacing: found \"cubic\", expected linear|log|peaks; see polefit fit --help");
  EXPECT_EQ(complaint({"fit", "a.s2p", "-o", ""}),
            "--output: found nothing, expected a text; see polefit fit --help");
}

TEST(CommandLine, a_name_that_no_subcircuit_can_have_is_refused_where_it_is_given) {
  EXPECT_EQ(
      complaint({"export", "m.json", "--spice", "--name", "1"}),
      "--name: found \"1\", expected a letter, then letters, digits and underscores, at most 64 in all; "
      "see polefit export --help");
}

TEST(CommandLine, frequencies_that_cannot_be_read_are_refused_where_they_are_given) {
  EXPECT_EQ(
      complaint({"eval", "m.json", "--grid", "1:x:3"}),
      "--grid: found \"x\", expected a frequency such as 2.4e9, 2.4G or 2.4GHz; see polefit eval --help");
}

TEST(CommandLine, a_frequency_that_normalises_is_above_zero) {
  EXPECT_EQ(complaint({"export", "m.json", "--s-solver", "--highest-frequency", "0"}),
            "--highest-frequency: found \"0\", expected a frequency above 0; see polefit export --help");
}

TEST(CommandLine, one_format_is_exported) {
  EXPECT_EQ(
      complaint({"export", "m.json"}),
      "export wants --spice, --state-space, --touchstone, --csv or --s-solver; see polefit export --help");
  EXPECT_EQ(complaint({"export", "m.json", "--csv", "--spice"}),
            "--spice and --csv were given, expected one of them; see polefit export --help");
}

TEST(CommandLine, names_of_responses_may_hold_commas_in_brackets) {
  EXPECT_EQ(command<FitCommand>({"fit", "a.s2p", "--responses", "S(2,1),S[1,1],Z3_1"}).responses,
            (std::vector<std::string>{"S(2,1)", "S[1,1]", "Z3_1"}));
  EXPECT_EQ(command<FitCommand>({"fit", "--responses", "S11", "--responses", "S21", "a.s2p"}).responses,
            (std::vector<std::string>{"S11", "S21"}));
  complaint({"fit", "a.s2p", "--responses", "S(2,1"});
}

TEST(CommandLine, of_a_flag_and_its_opposite_the_last_holds) {
  EXPECT_TRUE(command<FitCommand>({"fit", "a.s2p", "--no-stable", "--stable"}).options.stable);
  EXPECT_FALSE(command<FitCommand>({"fit", "a.s2p", "--stable", "--no-stable"}).options.stable);
}

TEST(CommandLine, as_many_responses_are_named_as_can_be_drawn) {
  std::string names = "S11";
  for (int i = 1; i < 16; ++i) {
    names += ",S11";
  }
  EXPECT_EQ(command<PlotCommand>({"plot", "m.json", "a.s2p", "-o", "f.svg", "--responses", names.c_str()})
                .responses.size(),
            16U);
  names += ",S11";
  EXPECT_TRUE(complaint({"plot", "m.json", "a.s2p", "-o", "f.svg", "--responses", names.c_str()})
                  .starts_with("--responses: found 17 names, expected 16 at most"));
}

TEST(CommandLine, a_choice_may_be_in_either_case) {
  EXPECT_EQ(command<FitCommand>({"fit", "a.csv", "--poles", "2", "--spacing", "LOG"}).options.placement,
            polefit::Placement::logarithmic);
  EXPECT_EQ(command<FitCommand>({"fit", "a.csv", "--parameter", "z"}).declaration.parameter, 'Z');
}

TEST(CommandLine, empty_texts_are_refused) {
  complaint({"fit", "a.s2p", "--weights-file", ""});
  complaint({"plot", "m.json", "a.s2p", "-o", ""});
  complaint({"eval", "m.json", "-o", ""});
  complaint({"eval", "m.json", "--grid", ""});
  complaint({"eval", "m.json", "--like", ""});
  complaint({"export", "m.json", "--spice", "--name", ""});
  complaint({"export", "m.json", "--csv", "--grid", ""});
  complaint({"export", "m.json", "--csv", "-o", ""});
  complaint({"export", "m.json", "--s-solver", "--response", ""});
  complaint({"fit", "a.s2p", "--responses", ""});
  complaint({"fit", "a.s2p", "--responses", "S11,,S21"});
}

TEST(CommandLine, standard_input_is_read_once) {
  complaint({"fit", "-", "--weights-file", "-"});
  complaint({"plot", "-", "-", "-o", "f.svg"});
  complaint({"eval", "-", "--like", "-"});
  EXPECT_EQ(command<EvalCommand>({"eval", "m.json", "--like", "-"}).like->file, "-");
}

TEST(CommandLine, options_of_which_one_is_wanted_stand_together_in_the_help) {
  const std::string help = answer({"export", "--help"});
  EXPECT_NE(help.find("\n\nFormats, of which one is wanted:\n  --spice "), std::string::npos) << help;
  EXPECT_EQ(help.find("\n\n\n"), std::string::npos) << help;
}

TEST(CommandLine, each_command_has_help_with_examples) {
  for (const char* const name : {"fit", "plot", "passivity", "export", "eval", "info"}) {
    const std::string help = answer({name, "--help"});
    EXPECT_NE(help.find("Examples:"), std::string::npos) << name;
    EXPECT_NE(help.find(std::string("polefit ") + name + " "), std::string::npos) << name;
    EXPECT_NE(answer({"--help"}).find(std::string("  ") + name + " "), std::string::npos) << name;
  }
  EXPECT_EQ(answer({"--version"}), "polefit " POLEFIT_VERSION "\n");
}

}  // namespace
