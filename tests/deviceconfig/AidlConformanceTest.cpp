// Holds the hand-written binder code to the .aidl files it implements: descriptors,
// transaction codes in declaration order, and parameter order of every method.
#include <com/halcyon/deviceconfig/aidl/BnDeviceConfig.h>
#include <com/halcyon/deviceconfig/aidl/BnOnPropertiesChangeListener.h>
#include <com/halcyon/deviceconfig/aidl/Property.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace com::halcyon::deviceconfig::aidl;

std::string readText(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// The last identifier of each comma-separated declaration, i.e. the parameter or field names.
std::vector<std::string> names(const std::string& list) {
    std::vector<std::string> out;
    static const std::regex lastWord(R"((\w+)\s*$)");
    std::stringstream parts(list);
    for (std::string part; std::getline(parts, part, ',');) {
        std::smatch m;
        if (std::regex_search(part, m, lastWord)) out.push_back(m[1]);
    }
    return out;
}

struct AidlMethod {
    std::string name;
    bool returnsValue;
    std::vector<std::string> params;
};

struct AidlFile {
    std::string package, name;
    std::vector<AidlMethod> methods;
};

AidlFile parseAidl(const std::string& file) {
    const std::string text =
            readText(std::string(AIDL_DIR) + "/com/halcyon/deviceconfig/aidl/" + file);
    AidlFile aidl;
    std::smatch m;
    EXPECT_TRUE(std::regex_search(text, m, std::regex(R"(package\s+([\w.]+);)"))) << file;
    aidl.package = m[1];
    EXPECT_TRUE(std::regex_search(text, m, std::regex(R"((interface|parcelable)\s+(\w+))"))) << file;
    aidl.name = m[2];
    static const std::regex method(R"(([\w<>]+)\s+(\w+)\s*\(([^)]*)\)\s*;)");
    for (auto it = std::sregex_iterator(text.begin(), text.end(), method);
         it != std::sregex_iterator(); ++it) {
        aidl.methods.push_back({(*it)[2], (*it)[1] != "void", names((*it)[3])});
    }
    return aidl;
}

// Parameter names of `name` as the C++ interface header declares it.
std::vector<std::string> cppParams(const std::string& header, const std::string& name) {
    const std::string text = readText(std::string(AIDL_HEADER_DIR) + "/" + header);
    std::smatch m;
    EXPECT_TRUE(std::regex_search(text, m, std::regex("Status\\s+" + name + R"(\(([^)]*)\))")))
            << name;
    return names(m[1]);
}

void expectMatches(const AidlFile& aidl, const android::String16& descriptor,
                   const std::string& header, const std::map<std::string, uint32_t>& codes) {
    EXPECT_EQ(descriptor, android::String16((aidl.package + "." + aidl.name).c_str()));
    ASSERT_EQ(aidl.methods.size(), codes.size());
    for (size_t i = 0; i < aidl.methods.size(); ++i) {
        const AidlMethod& method = aidl.methods[i];
        SCOPED_TRACE(method.name);
        ASSERT_TRUE(codes.count(method.name));
        EXPECT_EQ(codes.at(method.name), android::IBinder::FIRST_CALL_TRANSACTION + i);
        std::vector<std::string> expected = method.params;
        if (method.returnsValue) expected.push_back("_aidl_return");
        EXPECT_EQ(cppParams(header, method.name), expected);
    }
}

TEST(AidlConformanceTest, HandWrittenInterfacesMatchTheirAidl) {
    expectMatches(parseAidl("IDeviceConfig.aidl"), IDeviceConfig::descriptor, "IDeviceConfig.h",
                  {{"getProperties", BnDeviceConfig::TRANSACTION_getProperties},
                   {"addOnPropertiesChangeListener",
                    BnDeviceConfig::TRANSACTION_addOnPropertiesChangeListener},
                   {"removeOnPropertiesChangeListener",
                    BnDeviceConfig::TRANSACTION_removeOnPropertiesChangeListener}});
    expectMatches(parseAidl("IOnPropertiesChangeListener.aidl"),
                  IOnPropertiesChangeListener::descriptor, "IOnPropertiesChangeListener.h",
                  {{"onPropertiesChanged",
                    BnOnPropertiesChangeListener::TRANSACTION_onPropertiesChanged}});
}

TEST(AidlConformanceTest, PropertyIsParcelledInAidlFieldOrder) {
    const AidlFile aidl = parseAidl("Property.aidl");
    EXPECT_EQ(Property::getParcelableDescriptor(),
              android::String16((aidl.package + "." + aidl.name).c_str()));
    const std::string text =
            readText(std::string(AIDL_DIR) + "/com/halcyon/deviceconfig/aidl/Property.aidl");
    std::smatch body;
    ASSERT_TRUE(std::regex_search(text, body, std::regex(R"(\{([^}]*)\})")));
    std::string fields = body[1];
    std::replace(fields.begin(), fields.end(), ';', ',');

    Property property;
    property.key = "the-key";
    property.value = "the-value";
    const std::map<std::string, std::string> byField{{"key", property.key},
                                                     {"value", property.value}};
    android::Parcel parcel;
    ASSERT_EQ(property.writeToParcel(&parcel), android::OK);
    parcel.setDataPosition(0);
    parcel.readInt32();  // parcelable size
    for (const std::string& field : names(fields)) {
        std::string read;
        ASSERT_EQ(parcel.readUtf8FromUtf16(&read), android::OK) << field;
        EXPECT_EQ(read, byField.at(field)) << field;
    }
}

}  // namespace
