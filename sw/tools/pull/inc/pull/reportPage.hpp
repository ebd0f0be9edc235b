// Pulls as a page for a browser.
#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "pull/catalogue.hpp"
#include "pull/pullReader.hpp"

namespace Qdx::Pull {

// Where the data go in a page that shows them.
inline constexpr std::string_view reportDataMarker = "<!--qdxview:data-->";

// Writes the page with three elements in place of the marker:
//
//     <script type="application/json" id="source">"pull.txt"</script>
//     <script type="application/json" id="catalogue">{"7":{"name":"a:b", ...}, ...}</script>
//     <script type="text/plain" id="pulls"><QdxOutput>...</QdxOutput></script>
//
// No text of the pulls or the catalogue can end an element. As the messages stand in the page as
// they do in a pull's text, readPulls() reads the page. Beside the pulls, a copy of the longest of
// them as text is taken. Throws std::invalid_argument for a page without the marker.
void writeReportPage(std::ostream& out, std::string_view page,
                     const std::vector<PulledMessage>& pulls, const Catalogue& catalogue,
                     std::string_view source);

}  // namespace Qdx::Pull
