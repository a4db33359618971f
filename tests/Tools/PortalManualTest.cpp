#include <gmock/gmock.h>

#include <boost/json/object.hpp>
#include <map>
#include <regex>
#include <set>
#include <string>

#include "tests/Support/TemporaryFolder.h"
#include "tools/ksbeacon/portal/PortalSchema.h"

namespace ks::tool {
namespace {

namespace json = boost::json;
using portal::DocumentKind;
using Names = std::set<std::string>;

/// The members of the tables under a heading of the portal's manual; with their defaults.
std::map<std::string, std::string> membersUnder(const std::string& heading) {
  const std::string manual = test::readText(KS_SOURCE_DIR "/docs/portal.md");
  const auto begin = manual.find("\n## " + heading + "\n");
  EXPECT_NE(begin, std::string::npos) << heading;
  const std::string section = manual.substr(begin, manual.find("\n## ", begin + 1) - begin);
  const std::regex row(R"(\n\| `([A-Za-z.]+)` \|[^\n]*\| ([^\n|]*) \|(?=\n))");
  std::map<std::string, std::string> members;
  for (auto at = std::sregex_iterator(section.begin(), section.end(), row);
       at != std::sregex_iterator(); ++at) {
    members[(*at)[1]] = (*at)[2];
  }
  return members;
}

/// The members of which the schema says so when it sees `item`.
Names membersThatAre(const std::string& what, DocumentKind kind, const json::object& item) {
  Names names;
  portal::checkItems(kind, {item}, [&](const std::string& member, const std::string& message) {
    if (message.starts_with(what)) names.insert(member.substr(sizeof "[0]"));
  });
  return names;
}

TEST(PortalManualTest, SaysOfEachMemberWhatTheSchemaSays) {
  Names written;
  for (const DocumentKind kind : portal::kDocumentKinds) {
    auto members = membersUnder("`" + std::string(portal::documentFileName(kind)) + "`");
    if (members.contains("content")) members.merge(membersUnder("Contents"));
    json::object item;
    Names required;
    for (const auto& [name, usual] : members) {
      const auto dot = name.find('.');
      if (dot == std::string::npos) {
        if (!item.contains(name)) item[name] = nullptr;
      } else {
        auto& inner = item[name.substr(0, dot)];
        if (!inner.is_object()) inner = json::object();
        inner.get_object()[name.substr(dot + 1)] = nullptr;
      }
      if (usual == "required") required.insert(name);
      written.insert(name.substr(dot + 1));
    }
    EXPECT_THAT(membersThatAre("unknown", kind, item), testing::IsEmpty());
    json::object bare;
    for (const auto& entry : item) {
      if (entry.value().is_object()) bare[entry.key()] = json::object();
    }
    EXPECT_EQ(membersThatAre("missing", kind, bare), required);
  }
  // Whatever stands in the schema as a name before the statistics is a member.
  const std::string file = test::readText(KS_SOURCE_DIR "/tools/ksbeacon/portal/PortalSchema.cpp");
  const std::string schema = file.substr(0, file.find("Members statisticMembers("));
  const std::regex quoted("\"([a-z][A-Za-z]+)\"");
  for (auto at = std::sregex_iterator(schema.begin(), schema.end(), quoted);
       at != std::sregex_iterator(); ++at) {
    EXPECT_TRUE(written.contains((*at)[1])) << (*at)[1];
  }
}

}  // namespace
}  // namespace ks::tool
