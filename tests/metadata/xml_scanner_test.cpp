#include "metadata/xml_scanner.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace ablagix {
namespace {

// The events as "+{ns}local", "-{ns}local" and "'text'".
std::vector<std::string> Events(std::string_view xml) {
  XmlScanner scanner(xml);
  XmlEvent e;
  std::vector<std::string> out;
  while (scanner.Next(&e)) {
    if (e.kind == XmlEvent::kText) {
      out.push_back("'" + e.text + "'");
    } else {
      out.push_back((e.kind == XmlEvent::kStart ? "+{" : "-{") + e.ns + "}" + std::string(e.local));
    }
  }
  return out;
}

TEST(XmlScanner, ResolvesNamespacesPerScope) {
  EXPECT_EQ(Events("<?xml version=\"1.0\"?><!DOCTYPE r [<!ENTITY x \">\">]><!-- a > b -->"
                   "<r xmlns=\"urn:d\" xmlns:p='urn:p'><p:a/><b xmlns=\"\"><p:c xmlns:p=\"urn:q\"/></b>"
                   "<p:c/></r>"),
            (std::vector<std::string>{"+{urn:d}r", "+{urn:p}a", "-{urn:p}a", "+{}b", "+{urn:q}c", "-{urn:q}c",
                                      "-{}b", "+{urn:p}c", "-{urn:p}c", "-{urn:d}r"}));

  XmlScanner scanner("<r xmlns:m=\"urn:m\"><m:s m:n=\"1 &amp; 2\" n=\"plain\" other:n=\"x\"/></r>");
  XmlEvent e;
  ASSERT_TRUE(scanner.Next(&e) && scanner.Next(&e));
  EXPECT_EQ(scanner.depth(), 2u);
  std::string value;
  EXPECT_TRUE(scanner.Attribute("urn:m", "n", &value));
  EXPECT_EQ(value, "1 & 2");
  EXPECT_TRUE(scanner.Attribute("", "n", &value));
  EXPECT_EQ(value, "plain");
  EXPECT_FALSE(scanner.Attribute("urn:other", "n", &value));
}

TEST(XmlScanner, DecodesTextAndStopsAtBrokenMarkup) {
  EXPECT_EQ(Events("<a>x &lt;&gt;&amp;&quot;&apos; &#65;&#x42;&#x1F600; &#0; &#xD800; &unknown; & y"
                   "<![CDATA[<&amp;>]]></a>"),
            (std::vector<std::string>{"+{}a", "'x <>&\"' AB\xF0\x9F\x98\x80 \xEF\xBF\xBD \xEF\xBF\xBD &unknown; & y'",
                                      "'<&amp;>'", "-{}a"}));
  EXPECT_EQ(Events("<a><b attr=\"unclosed></a>"), (std::vector<std::string>{"+{}a"}));
  EXPECT_EQ(Events("<a>text<!-- never closed"), (std::vector<std::string>{"+{}a", "'text'"}));
  EXPECT_EQ(Events("</stray><a/>"), (std::vector<std::string>{"-{}stray", "+{}a", "-{}a"}));
  EXPECT_EQ(XmlAsUtf8("\xEF\xBB\xBF<a/>"), "<a/>");
  EXPECT_EQ(XmlAsUtf8(std::string("\xFE\xFF\0<\0\xE4", 6)), "<\xC3\xA4");
  EXPECT_EQ(XmlAsUtf8(std::string("<\0a\0", 4)), "<a");
}

}  // namespace
}  // namespace ablagix
