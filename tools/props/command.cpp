// `sprig props`: shows, changes, converts and matches property lists in files.
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>

#include <sprig/sprig.hpp>

#include "failure.h"
#include "json.h"
#include "json_line.h"
#include "json_text.h"
#include "output.h"
#include "props/layout.h"
#include "props/replacement.h"
#include "props/show.h"
#include "subcommand.h"

namespace tool {
namespace {

struct Options {
  std::string file;
  std::string layout; // empty: to be found out
  std::string key;
  std::string type = "string";
  std::string value; // or a pattern
  std::string output;
  std::string outputLayout;
  bool isJson = false;
};

// Failures of making JSON text name the file.
std::string jsonTextOf(const Json &json, const Options &options) {
  try {
    return jsonText(json);
  } catch (const Failure &failure) {
    throw Failure(printable(options.file) + ": " + failure.what(),
                  "another layout, or to show it without --json, is possible");
  }
}

void print(const Json &list, const Options &options) {
  if (options.isJson) {
    std::cout << jsonTextOf(list, options);
  } else {
    for (const std::string &line : shownList(list)) {
      std::cout << line << '\n';
    }
  }
}

int show(const Options &options) {
  print(toJson(loadList(options.file, options.layout).list), options);
  return done;
}

int set(const Options &options) {
  Replacement replacement(options.file);
  ListFile file{{}, options.layout.empty() ? "with-length" : options.layout};
  if (replacement.isOldThere()) {
    file = loadList(options.file, options.layout);
  }
  try {
    putWritten(file.list, options.key, options.type, options.value);
  } catch (const std::runtime_error &failure) {
    throw Failure(printable(options.key) + ": " + failure.what(), "", wrongUsage);
  }
  saveList(file.list, file.layout, replacement.path(), options.file);
  replacement.commit();
  print(toJson(*file.list.find(options.key)), options);
  return done;
}

void tellConverted(const ListFile &file, const Options &options) {
  if (options.isJson) {
    std::cout << jsonLine({{"file", options.file},
                           {"layout", file.layout},
                           {"output", options.output},
                           {"to", options.outputLayout},
                           {"properties", file.list.size()}});
  } else {
    std::cout << "converted " << printable(options.file) << " into " << printable(options.output)
              << ": " << file.layout << " to " << options.outputLayout << ", " << file.list.size()
              << (file.list.size() == 1 ? " property\n" : " properties\n");
  }
}

int convert(const Options &options) {
  const bool isForOutput = options.output == "-";
  if (isForOutput && options.outputLayout != "json") {
    throw Failure("-o -: only JSON goes to standard output", "write --to json, or name a file",
                  wrongUsage);
  }
  const ListFile file = loadList(options.file, options.layout);
  if (isForOutput) {
    std::cout << jsonTextOf(toJson(file.list), options);
    return done;
  }
  Replacement replacement(options.output);
  saveList(file.list, options.outputLayout, replacement.path(), options.output);
  replacement.commit();
  tellConverted(file, options);
  return done;
}

// Only text can match a pattern.
bool isMatch(const sprig::PropertyEntry &property, const std::string &pattern) {
  return property.holds<std::string>() ? sprig::match(pattern, property.get<std::string>())
         : property.holds<sprig::ObjectReference>()
             ? sprig::match(pattern, property.get<sprig::ObjectReference>().text)
             : false;
}

int match(const Options &options) {
  const sprig::PropertyList list = loadList(options.file, options.layout).list;
  const auto property = list.find(options.key);
  try {
    if (property == list.end() || !isMatch(*property, options.value)) {
      return failed;
    }
  } catch (const std::invalid_argument &) {
    throw Failure(printable(options.value) + ": a pattern with a set that is not closed",
                  R"(a "]" ends a set; write "\[" for the bracket itself)", wrongUsage);
  }
  print(toJson(*property), options);
  return done;
}

void addOption(CLI::App &app, const char *name, std::string &target, const char *description,
               const std::vector<std::string> &choices) {
  app.add_option(name, target, description)->check(CLI::IsMember(choices));
}

} // namespace

void addProps(CLI::App &program, Action &action) {
  CLI::App &props =
      addSubcommand(program, "props", "Shows and changes property lists in files",
                    "  sprig props site.dist/000001.toc show\n"
                    "  sprig props settings.props set retries 3 --type short\n"
                    "  sprig props settings.props convert -o settings.json --to json\n"
                    "  sprig props settings.props match version \"2.*\"");
  props.require_subcommand(1);
  const auto options = std::make_shared<Options>();
  props.add_option("FILE", options->file, "the file")->required();

  const auto add = [&](const char *name, const char *description, const char *examples,
                       int (*run)(const Options &)) -> CLI::App & {
    CLI::App &subcommand = addSubcommand(props, name, description, examples);
    addOption(subcommand, "--layout", options->layout,
              "how the list lies in the file (default: as it is found out)", layoutNames());
    subcommand.add_flag("--json", options->isJson, "print the result as JSON");
    subcommand.callback([&action, options, run] { action = [=] { return run(*options); }; });
    return subcommand;
  };

  add("show", "Shows a list", "  sprig props settings.props show --json", show);

  CLI::App &setting = add("set", "Puts a value into a list; the file is made where it is missing",
                          "  sprig props settings.props set name \"Site 7\"\n"
                          "  sprig props settings.props set name -- -7-\n"
                          "  sprig props settings.props set retries 3 --type short\n"
                          "  sprig props settings.props set parts --type properties "
                          R"('{"a": {"type": "boolean", "value": true}}')",
                          set);
  setting.add_option("KEY", options->key, "the key")->required();
  setting.add_option("VALUE", options->value, "the value; lists and any in JSON")->required();
  addOption(setting, "--type", options->type, "the value's type (string)", propertyTypes());

  CLI::App &converting = add("convert", "Writes a list in another layout",
                             "  sprig props settings.props convert -o settings.json --to json\n"
                             "  sprig props settings.props convert -o - --to json\n"
                             "  sprig props settings.json convert -o settings.toc --to bare",
                             convert);
  converting.add_option("-o,--output", options->output, "the file to write, or -")->required();
  converting.add_option("--to", options->outputLayout, "the layout to write")
      ->required()
      ->check(CLI::IsMember(layoutNames()));

  CLI::App &matching =
      add("match", "Tells whether a text in a list matches a wildcard pattern (exit status 0 or 1)",
          "  sprig props settings.props match version \"2.[0-4]*\"", match);
  matching.add_option("KEY", options->key, "the key of a string or an object")->required();
  matching.add_option("PATTERN", options->value, "? any byte, * any bytes, [a-z] one of a set")
      ->required();
}

} // namespace tool
