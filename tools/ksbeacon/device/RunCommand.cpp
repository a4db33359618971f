#include "tools/ksbeacon/device/RunCommand.h"

#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "BeaconSDK/Platform/Api/Ascii.h"
#include "BeaconSDK/Platform/Api/Version.h"
#include "BeaconSDK/Platform/Http/CertificateFile.h"
#include "tools/ksbeacon/device/LibraryRun.h"
#include "tools/ksbeacon/device/Password.h"
#include "tools/ksbeacon/options/PortalURL.h"
#include "tools/ksbeacon/options/ReceiverGainOption.h"
#include "tools/ksbeacon/options/RecordingLimitOption.h"
#include "tools/ksbeacon/options/RefinementOption.h"
#include "tools/ksbeacon/output/Complaint.h"
#include "tools/ksbeacon/output/ExitCode.h"
#include "tools/ksbeacon/output/Terminal.h"
#include "tools/ksbeacon/status/StateFolders.h"
#include "tools/ksbeacon/status/StatusSocket.h"

namespace ks::tool {

namespace {

struct Arguments {
  PasswordSources password;
  std::string state;
  std::string authorities;
  /// The recording's file.
  std::string record;
  bool isPrivate = false;
  std::string keep;
  std::vector<std::string> pins;
  std::vector<std::string> tags;
  std::vector<std::string> enabledCategories;
  std::vector<std::string> disabledCategories;
  std::vector<std::string> refinements;
  std::vector<std::string> without;
  std::string metrics;
  EventOutputs::Options outputs;
  double receiverGain = 0;
  std::string level = "debug";
  bool quiet = false;
  bool json = false;
  bool log = false;
  bool verbose = false;
};

std::string checkTag(const std::string& tag) {
  return tag.find('=') == std::string::npos || tag.front() == '='
             ? "expected NAME=VALUE, got \"" + tag + "\""
             : "";
}

std::string checkAuthorities(const std::string& file) {
  return holdsCertificates(file) ? ""
                                 : "expected a PEM file with certificates, got \"" + file + "\"";
}

/// The levels of the system's log that events have.
const std::map<std::string, int> kLevels = {
    {"error", 3}, {"warning", 4}, {"notice", 5}, {"info", 6}, {"debug", 7}};

constexpr std::string_view kPinKind = "sha256//";

std::string checkPin(const std::string& pin) {
  // 32 bytes in Base64.
  constexpr std::size_t kDigits = 43;
  constexpr std::string_view kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string_view digest = pin;
  if (digest.starts_with(kPinKind)) digest.remove_prefix(kPinKind.size());
  const bool isDigest = digest.size() == kDigits + 1 && digest.back() == '=' &&
                        digest.find_first_not_of(kAlphabet) == kDigits;
  return isDigest ? ""
                  : "expected the Base64 text of a key's SHA-256 digest, 44 characters, got \"" +
                        pin + "\"";
}

/// All keys of one host, as the transfers take them.
std::string joinedPins(const std::vector<std::string>& pins) {
  std::string joined;
  for (const std::string& pin : pins) {
    if (!joined.empty()) joined += ';';
    if (!pin.starts_with(kPinKind)) joined += kPinKind;
    joined += pin;
  }
  return joined;
}

bool isEncryptedOrLocal(const std::string& url) {
  const std::string_view host = hostOf(url);
  return url.starts_with("https://") || host == "localhost" || host == "[::1]" ||
         host.starts_with("127.");
}

LibraryRunOptions optionsFor(const Arguments& arguments, std::string password) {
  LibraryRunOptions options;
  options.platform.version = kVersion;
  options.platform.receiverGain = Dbm{arguments.receiverGain};
  if (!arguments.authorities.empty()) {
    options.platform.additionalCertificateAuthorities =
        std::filesystem::absolute(arguments.authorities);
  }
  if (!arguments.pins.empty()) {
    const std::string host(hostOf(arguments.password.portalURL));
    options.platform.publicKeyPins[asciiLowerCased(host)] = joinedPins(arguments.pins);
  }
  if (!arguments.state.empty()) {
    options.platform.folders = stateFolders(arguments.state);
  }
  LibraryHost::Options& library = options.library;
  library.username = arguments.password.user;
  library.password = std::move(password);
  library.portalURL = arguments.password.portalURL;
  for (const std::string& tag : arguments.tags) {
    library.tags.emplace_back(tag.substr(0, tag.find('=')), tag.substr(tag.find('=') + 1));
  }
  library.enabledCategories = arguments.enabledCategories;
  library.disabledCategories = arguments.disabledCategories;
  library.refinements =
      arguments.refinements.empty() ? ks::Refinements::all() : refinementsIn(arguments.refinements);
  for (const auto& [name, member] : ks::Consent::named()) {
    library.consent.*member = std::ranges::find(arguments.without, name) == arguments.without.end();
  }
  options.outputs = arguments.outputs;
  options.statusSocket = statusSocketPath(arguments.state);
  if (!arguments.metrics.empty()) options.metrics = std::filesystem::absolute(arguments.metrics);
  library.showsNotifications = !arguments.quiet;
  library.log = arguments.log;
  options.form.form = arguments.json ? TimelinePrinter::Form::json : TimelinePrinter::Form::text;
  options.form.colours = !arguments.json && outputTakesColours();
  options.form.everything = arguments.verbose;
  options.form.log = arguments.log;
  options.form.wallClock = true;
  options.form.leastPriority = kLevels.at(arguments.level);
  return options;
}

int runLibrary(Arguments arguments) {
  std::string& url = arguments.password.portalURL;
  url = trimmedPortalURL(url);
  if (!arguments.pins.empty() && !url.starts_with("https://")) {
    return complain("--pin needs a portal whose URL begins with https://", kUsage);
  }
  auto password = findPassword(arguments.password);
  if (!password) return complain(password.error().localizedDescription(), kUsage);
  if (!isEncryptedOrLocal(url)) {
    warn(url + ": the password travels unencrypted; https:// keeps it secret");
  }
  // Whatever is written, by whichever part: for its owner alone.
  umask(S_IRWXG | S_IRWXO);
  // A reader that goes away is noticed at the next line.
  std::signal(SIGPIPE, SIG_IGN);
  LibraryRunOptions options = optionsFor(arguments, *password);
  if (!arguments.record.empty()) {
    auto recording = RecordingWriter::create(
        arguments.record, {arguments.isPrivate, recordingLimitIn(arguments.keep)});
    if (!recording) return complain(recording.error().localizedDescription(), kUsage);
    options.recording = std::move(recording.value());
  }
  return LibraryRun(std::move(options)).run();
}

}  // namespace

void addRunCommand(CLI::App& app, int& code) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App* const command = app.add_subcommand("run", "Run the library on this machine");
  command->footer(
      "Examples:\n"
      "  ksbeacon run --portal https://portal.example.com/app --user kiosk-7\n"
      "  ksbeacon run --portal http://127.0.0.1:8080/app --user demo --password-file "
      "demo.password\n"
      "  ksbeacon run ... --json | jq 'select(.kind == \"trigger\")'\n"
      "  ksbeacon run ... --record day.ksrec --keep 24h       for ksbeacon replay\n"
      "  ksbeacon run ... --no-notifications --open           a kiosk: shows pages in a browser\n"
      "  ksbeacon run ... --exec /usr/local/bin/tell-home     a program for each content\n"
      "  ksbeacon run ... --tag language=it --disable-category 2\n"
      "  ksbeacon run ... --without positions,identifiers     what the user forbids\n"
      "  ksbeacon run ... --metrics /var/lib/node_exporter/ksbeacon.prom\n"
      "  systemctl enable --now ksbeacon                      as a service of the machine\n"
      "The password comes from --password-file, else from the service manager's credential\n"
      "ksbeacon.password, else from the user's secret store, where this puts it:\n"
      "  secret-tool store --label=ksbeacon application ksbeacon portal URL user NAME\n"
      "SIGTERM and SIGINT save and end it within 2 seconds, SIGHUP asks the portal anew.\n"
      "Exit codes: 0 ended by a signal, 1 the output could not be written or the end took too\n"
      "long, 2 a wrong option or no password, 3 its folders cannot be written.");
  command->add_option("--portal", arguments->password.portalURL, "The portal's root URL")
      ->type_name("URL")
      ->required()
      ->check(checkPortalURL);
  command->add_option("--user", arguments->password.user, "Name of the portal's user")
      ->type_name("NAME")
      ->required();
  command
      ->add_option("--password-file", arguments->password.file,
                   "File with the password, readable by its owner alone")
      ->type_name("FILE");
  command
      ->add_option("--credential", arguments->password.credential,
                   "Name of the service manager's credential instead of ksbeacon.password")
      ->type_name("NAME");
  command->add_option("--tag", arguments->tags, "Set a tag, NAME=VALUE; may be given again")
      ->type_name("NAME=VALUE")
      ->check(checkTag);
  command
      ->add_option("--enable-category", arguments->enabledCategories,
                   "Switch a content category on; may be given again")
      ->type_name("ID");
  command
      ->add_option("--disable-category", arguments->disabledCategories,
                   "Switch a content category off; may be given again")
      ->type_name("ID");
  addRefinementOption(*command, arguments->refinements, "all unless given");
  std::vector<std::string> classes;
  for (const auto& [name, member] : ks::Consent::named()) classes.emplace_back(name);
  command
      ->add_option("--without", arguments->without,
                   "Classes of data neither to send nor to keep, separated by commas")
      ->type_name("CLASSES")
      ->delimiter(',')
      ->check(CLI::IsMember(classes).description(""));
  command
      ->add_option("--metrics", arguments->metrics,
                   "Write metrics to this file every 15 s, for a node exporter's folder")
      ->type_name("FILE");
  command
      ->add_option(
          "--exec", arguments->outputs.program,
          "Run this program for each event that carries a content, with the event as JSON on "
          "its input; at most 4 at a time, 30 s each")
      ->type_name("PROGRAM")
      ->check(checkProgram);
  command->add_flag("--open", arguments->outputs.opensPages,
                    "Open pages and videos of contents with the desktop's program");
  command->add_option("--state", arguments->state, "Folder of its files instead of the user's own")
      ->type_name("DIR");
  command
      ->add_option("--ca", arguments->authorities,
                   "PEM file of certificate authorities to trust besides the system's")
      ->type_name("FILE")
      ->check(checkAuthorities);
  command
      ->add_option("--record", arguments->record,
                   "Record what enters the device, for ksbeacon replay")
      ->type_name("FILE");
  command
      ->add_option("--keep", arguments->keep,
                   "With --record: go on with the file and keep so much of it, as 24h or 64M")
      ->type_name("HOURS|SIZE")
      ->check(checkRecordingLimit)
      ->needs("--record");
  command->add_flag("--private", arguments->isPrivate,
                    "Leave tags out of the recording and round its positions");
  command
      ->add_option("--pin", arguments->pins,
                   "Accept only this public key of the portal, a SHA-256 digest in Base64; may be "
                   "given again, as for the next key")
      ->type_name("SHA256")
      ->check(checkPin);
  addReceiverGainOption(*command, arguments->receiverGain);
  command->add_flag("--no-notifications", arguments->quiet, "Show no notifications");
  command
      ->add_option("--level", arguments->level,
                   "Least important events to print: notice is what the user notices")
      ->type_name("LEVEL")
      ->check(CLI::IsMember({"error", "warning", "notice", "info", "debug"}).description(""));
  command->add_flag("--json", arguments->json, "One JSON object per line");
  command->add_flag("--log", arguments->log, "Also the library's own trace");
  command->add_flag("--verbose", arguments->verbose, "Also every ranging result, changed or not");
  command->callback([arguments, &code] { code = runLibrary(*arguments); });
}

}  // namespace ks::tool
