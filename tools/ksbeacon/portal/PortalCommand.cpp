#include "tools/ksbeacon/portal/PortalCommand.h"

#include <fmt/format.h>

#include <filesystem>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <variant>
#include <vector>

#include "BeaconSDK/Platform/Api/Value.h"
#include "BeaconSDK/Platform/Common/PrintableText.h"
#include "tools/ksbeacon/documents/ObjectReader.h"
#include "tools/ksbeacon/options/NumberOption.h"
#include "tools/ksbeacon/output/Complaint.h"
#include "tools/ksbeacon/output/ExitCode.h"
#include "tools/ksbeacon/output/JsonText.h"
#include "tools/ksbeacon/portal/FaultOption.h"
#include "tools/ksbeacon/portal/PortalConsole.h"
#include "tools/ksbeacon/portal/PortalServer.h"

namespace ks::tool {

namespace {

struct Arguments {
  std::string documents;
  std::uint16_t port = 8080;
  std::string address = "127.0.0.1";
  std::string record;
  std::string credentials;
  std::vector<std::string> hostNames;
  std::vector<std::string> tls;
  std::vector<std::string> faults;
  bool json = false;
};

/// `{"username": "...", "password": "..."}`; an empty message means success.
std::string readCredentials(const std::string& file, portal::PortalOptions& options) {
  const auto parsed = readLocatedJson(file);
  if (const auto* const error = std::get_if<InputError>(&parsed)) return error->message();
  Mistakes mistakes(file);
  ObjectReader reader(std::get<JsonNode>(parsed), "", mistakes, {"username", "password"});
  options.username = reader.text("username");
  options.password = reader.text("password");
  return mistakes.first() ? mistakes.first()->message() : "";
}

/// Prints requests as they come, whole lines whichever thread they come from.
class RequestPrinter {
 public:
  explicit RequestPrinter(bool json) : json_(json) {}

  void print(const portal::PortalRequest& request) {
    const Value status = request.status == 0 ? Value(Null{}) : Value(request.status);
    write(json_ ? jsonText(Dictionary{{"kind", "request"},
                                      {"method", request.method},
                                      {"target", request.target},
                                      {"status", status}})
                : fmt::format("{} {}  {}", printable(request.method), printable(request.target),
                              request.status == 0 ? "dropped" : std::to_string(request.status)));
  }
  void print(const portal::PortalStatistic& statistic) {
    const std::string event = statistic.zoneKind + "/" + statistic.event;
    write(json_ ? jsonText(
                      Dictionary{{"kind", "statistic"}, {"event", event}, {"body", statistic.body}})
                : "statistic " + event + "  " + printable(statistic.body));
  }

 private:
  void write(const std::string& line) {
    const std::scoped_lock guard(mutex_);
    std::cout << line << std::endl;
  }

  bool json_;
  std::mutex mutex_;
};

int servePortal(const Arguments& arguments) {
  PortalConsole console;
  portal::PortalOptions options;
  options.documents = arguments.documents;
  options.port = arguments.port;
  options.address = arguments.address;
  options.hostNames = arguments.hostNames;
  options.statisticsFile = arguments.record;
  options.username = "demo";
  options.password = "demo";
  if (!arguments.credentials.empty()) {
    const std::string mistake = readCredentials(arguments.credentials, options);
    if (!mistake.empty()) return complain(mistake, kUsage);
  }
  if (!arguments.tls.empty()) {
    options.tlsCertificate = arguments.tls[0];
    options.tlsKey = arguments.tls[1];
  }
  for (const std::string& text : arguments.faults) {
    const auto fault = faultFromOption(text);
    if (const auto* const mistake = std::get_if<std::string>(&fault)) {
      return complain("--fault: " + *mistake, kUsage);
    }
    options.faults.push_back(std::get<portal::Fault>(fault));
  }
  std::error_code ec;
  if (!std::filesystem::is_directory(options.documents, ec)) {
    return complain(arguments.documents + ": expected a folder of portal documents", kUsage);
  }
  RequestPrinter printer(arguments.json);
  options.onRequest = [&](const portal::PortalRequest& request) { printer.print(request); };
  options.onStatistic = [&](const portal::PortalStatistic& statistic) { printer.print(statistic); };
  options.onMessage = [](const std::string& message) { warn(message); };

  const bool own = !arguments.credentials.empty();
  const auto server = portal::PortalServer::start(std::move(options));
  if (!server) {
    const bool isBusy = server.error().code() == portal::kPortalCannotListen;
    return complain(server.error().localizedDescription(), isBusy ? kUnavailable : kUsage);
  }
  const std::string asked =
      own ? "asking for the credentials of " + arguments.credentials
          : "asking for user demo, password demo; --credentials FILE changes that";
  std::cerr << fmt::format("serving {} at {}\n{}\nstop with Ctrl-C\n",
                           printable(arguments.documents), (*server)->url(), printable(asked));
  console.wait([&](const std::string& line) {
    std::cerr << printable(obeyFaultLine(line, **server)) + "\n";
  });
  (*server)->stop();
  std::cerr << "stopped\n";
  return kSuccess;
}

}  // namespace

void addPortalCommand(CLI::App& app, int& code) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App* const command = app.add_subcommand("portal", "Serve portal documents from a folder");
  command->footer(
      "Examples:\n"
      "  ksbeacon portal examples/portal                          user demo, password demo\n"
      "  ksbeacon portal examples/portal --record events.jsonl    keep the statistics\n"
      "  ksbeacon portal examples/portal --fault status:401@/beacons --fault latency:2\n"
      "  curl -u demo:demo http://127.0.0.1:8080/app/locations\n"
      "Documents are read again when they change. Faults, the first that matches decides:\n"
      "  status:CODE        400 to 599 instead of the answer\n"
      "  latency:SECONDS    the answer comes so much later\n"
      "  slow:SECONDS       it comes in up to 17 pieces, each so long after the one before\n"
      "  truncate           half of the body, then the connection ends\n"
      "  not-json           200 with text that is no JSON\n"
      "  drop               the connection ends without an answer\n"
      "With @PATH only for requests whose path below /app begins so. While it serves, lines on\n"
      "standard input change the faults: \"fault status:401@/beacons\" adds one, \"faults\" lists\n"
      "them, \"clear\" removes all. docs/portal.md describes documents and requests.");
  command->add_option("DIR", arguments->documents, "Folder of the documents")->required();
  command->add_option("--port", arguments->port, "Port to listen on; 0 picks a free one")
      ->type_name("PORT")
      ->check(numberBetween<std::uint16_t>(0, 65535))
      ->capture_default_str();
  command->add_option("--address", arguments->address, "Address to listen on")
      ->type_name("ADDRESS")
      ->capture_default_str();
  command->add_option("--record", arguments->record, "Append statistics to this file, one a line")
      ->type_name("FILE");
  command
      ->add_option("--credentials", arguments->credentials,
                   "JSON file with \"username\" and \"password\"")
      ->type_name("FILE");
  command
      ->add_option("--host", arguments->hostNames,
                   "Another name of this machine in requests; may be given again")
      ->type_name("NAME");
  command->add_option("--tls", arguments->tls, "Certificate and key, PEM files")
      ->type_name("FILE")
      ->expected(2);
  command->add_option("--fault", arguments->faults, "Answer wrongly; may be given again")
      ->type_name("FAULT");
  command->add_flag("--json", arguments->json, "One JSON object per line");
  command->callback([arguments, &code] { code = servePortal(*arguments); });
}

}  // namespace ks::tool
