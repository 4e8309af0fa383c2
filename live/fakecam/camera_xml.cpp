#include "fakecam/camera_xml.h"

#include <arv.h>

#include <initializer_list>
#include <sstream>
#include <utility>

namespace live {
namespace {

constexpr const char* kHead = R"(<?xml version="1.0" encoding="utf-8"?>
<RegisterDescription ModelName="fakecam" VendorName="imgcnv" StandardNameSpace="None"
  SchemaMajorVersion="1" SchemaMinorVersion="0" SchemaSubMinorVersion="1"
  MajorVersion="1" MinorVersion="0" SubMinorVersion="0" ToolTip="A camera that serves dumps"
  ProductGuid="0" VersionGuid="0" xmlns="http://www.genicam.org/GenApi/Version_1_0"
  xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"
  xsi:schemaLocation="http://www.genicam.org/GenApi/Version_1_0 GenApiSchema.xsd">
<Port Name="Device" NameSpace="Standard"/>
)";

constexpr const char* kPayload = R"(<IntSwissKnife Name="PayloadSize" NameSpace="Standard">
  <pVariable Name="WIDTH">Width</pVariable>
  <pVariable Name="HEIGHT">Height</pVariable>
  <pVariable Name="PIXELFORMAT">PixelFormat</pVariable>
  <Formula>WIDTH * HEIGHT * ((PIXELFORMAT &gt;&gt; 16) &amp; 0xFF) / 8</Formula>
</IntSwissKnife>
<Integer Name="TLParamsLocked" NameSpace="Standard">
  <Value>0</Value><Min>0</Min><Max>1</Max>
</Integer>
)";

class Xml {
  public:
    Xml() { text_ << kHead; }

    void category(const char* name, std::initializer_list<const char*> features) {
        text_ << "<Category Name=\"" << name << "\" NameSpace=\"Standard\">\n";
        for (const char* feature : features) text_ << "  <pFeature>" << feature << "</pFeature>\n";
        text_ << "</Category>\n";
    }

    /// A text of the registers that every GigE Vision device has.
    void bootstrap_text(const char* name, int address, int bytes) {
        text_ << "<StringReg Name=\"" << name << "\" NameSpace=\"Standard\">\n  <Address>"
              << address << "</Address><Length>" << bytes
              << "</Length><AccessMode>RO</AccessMode><pPort>Device</pPort>\n</StringReg>\n";
    }

    void integer(const char* name, int address, std::int64_t least, std::int64_t most) {
        text_ << "<Integer Name=\"" << name << "\" NameSpace=\"Standard\">\n  <pValue>" << name
              << "Register</pValue><Min>" << least << "</Min><Max>" << most
              << "</Max>\n</Integer>\n";
        value_register(name, address);
    }

    /// A register of whole numbers that users see as a quantity.
    void quantity(const char* name, int address, double least, double most,
                  const char* formula_to = "FROM", const char* formula_from = "TO") {
        text_ << "<Float Name=\"" << name << "\" NameSpace=\"Standard\">\n  <pValue>" << name
              << "Converter</pValue><Min>" << least << "</Min><Max>" << most << "</Max>\n</Float>\n"
              << "<Converter Name=\"" << name << "Converter\" NameSpace=\"Custom\">\n  <FormulaTo>"
              << formula_to << "</FormulaTo><FormulaFrom>" << formula_from
              << "</FormulaFrom><pValue>" << name << "Register</pValue>\n</Converter>\n";
        value_register(name, address);
    }

    void command(const char* name, const char* value_register, int value) {
        text_ << "<Command Name=\"" << name << "\" NameSpace=\"Standard\">\n  <pValue>"
              << value_register << "</pValue><CommandValue>" << value
              << "</CommandValue>\n</Command>\n";
    }

    void begin_enumeration(const char* name) {
        text_ << "<Enumeration Name=\"" << name << "\" NameSpace=\"Standard\">\n";
    }
    void entry(const char* name, std::uint32_t value) {
        text_ << "  <EnumEntry Name=\"" << name << "\" NameSpace=\"Standard\"><Value>" << value
              << "</Value></EnumEntry>\n";
    }
    void end_enumeration(const char* name, int address) {
        text_ << "  <pValue>" << name << "Register</pValue>\n</Enumeration>\n";
        value_register(name, address);
    }

    void value_register(const char* name, int address) {
        text_ << "<IntReg Name=\"" << name << "Register\" NameSpace=\"Custom\">\n  <Address>"
              << address << "</Address><Length>4</Length><AccessMode>RW</AccessMode>"
              << "<pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess>\n"
              << "</IntReg>\n";
    }

    std::string finish() {
        text_ << kPayload << "</RegisterDescription>\n";
        return text_.str();
    }

  private:
    std::ostringstream text_;
};

void add_pixel_formats(Xml& xml) {
    xml.begin_enumeration("PixelFormat");
    for (int i = 0; i < imgcnv_format_count(); ++i) {
        imgcnv_format_info info{};
        info.struct_size = sizeof info;
        imgcnv_format_at(i, &info);
        if (has_pfnc_code(info.code) && info.layout != IMGCNV_LAYOUT_POINTS)
            xml.entry(info.name, info.code);
    }
    xml.end_enumeration("PixelFormat", ARV_FAKE_CAMERA_REGISTER_PIXEL_FORMAT);
}

}  // namespace

bool has_pfnc_code(std::uint32_t format) { return (format >> 31) == 0; }

std::string camera_xml(const imgcnv_frame& frame) {
    Xml xml;
    xml.category("Root", {"DeviceControl", "ImageFormatControl", "AcquisitionControl",
                          "AnalogControl", "TransportLayerControl"});
    xml.category("DeviceControl", {"DeviceVendorName", "DeviceModelName", "DeviceManufacturerInfo",
                                   "DeviceID", "DeviceVersion"});
    xml.bootstrap_text("DeviceVendorName", 0x48, 32);
    xml.bootstrap_text("DeviceModelName", 0x68, 32);
    xml.bootstrap_text("DeviceVersion", 0x88, 32);
    xml.bootstrap_text("DeviceManufacturerInfo", 0xa8, 48);
    xml.bootstrap_text("DeviceID", 0xd8, 16);

    xml.category("ImageFormatControl", {"SensorWidth", "SensorHeight", "OffsetX", "OffsetY",
                                        "Width", "Height", "PixelFormat"});
    xml.integer("SensorWidth", ARV_FAKE_CAMERA_REGISTER_SENSOR_WIDTH, frame.width, frame.width);
    xml.integer("SensorHeight", ARV_FAKE_CAMERA_REGISTER_SENSOR_HEIGHT, frame.height, frame.height);
    xml.integer("OffsetX", ARV_FAKE_CAMERA_REGISTER_X_OFFSET, 0, 0);
    xml.integer("OffsetY", ARV_FAKE_CAMERA_REGISTER_Y_OFFSET, 0, 0);
    xml.integer("Width", ARV_FAKE_CAMERA_REGISTER_WIDTH, 1, frame.width);
    xml.integer("Height", ARV_FAKE_CAMERA_REGISTER_HEIGHT, 1, frame.height);
    add_pixel_formats(xml);

    xml.category("AcquisitionControl", {"AcquisitionMode", "AcquisitionStart", "AcquisitionStop",
                                        "AcquisitionFrameRate", "ExposureTime"});
    xml.begin_enumeration("AcquisitionMode");
    xml.entry("Continuous", 1);
    xml.entry("SingleFrame", 2);
    xml.entry("MultiFrame", 3);
    xml.end_enumeration("AcquisitionMode", ARV_FAKE_CAMERA_REGISTER_ACQUISITION_MODE);
    xml.command("AcquisitionStart", "AcquisitionRegister", 1);
    xml.command("AcquisitionStop", "AcquisitionRegister", 0);
    xml.value_register("Acquisition", ARV_FAKE_CAMERA_REGISTER_ACQUISITION);
    xml.quantity("AcquisitionFrameRate", ARV_FAKE_CAMERA_REGISTER_ACQUISITION_FRAME_PERIOD_US, 0.1,
                 1000, "1000000 / FROM", "1000000 / TO");
    xml.quantity("ExposureTime", ARV_FAKE_CAMERA_REGISTER_EXPOSURE_TIME_US, 10, 10000000);

    xml.category("AnalogControl", {"Gain"});
    xml.quantity("Gain", ARV_FAKE_CAMERA_REGISTER_GAIN_RAW, 0, 10);
    xml.category("TransportLayerControl", {"PayloadSize"});
    return xml.finish();
}

}  // namespace live
