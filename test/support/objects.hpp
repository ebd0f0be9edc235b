// The info object list of most collectors that tests run.
#pragma once

namespace TestSupport {

inline const char* const objects = R"(<infoObjectList>
    <tags><tag name="CPU"/><tag name="NET"/></tags>
    <objects>
        <object id="1" name="cpu:load" type="meas"><tags>CPU</tags><unit type="%" res="0.01"/></object>
        <object id="2" name="net:bytes" type="counter"><tags>NET</tags></object>
        <object id="3" name="net:event" type="record"><tags>NET</tags></object>
    </objects></infoObjectList>)";

}  // namespace TestSupport
