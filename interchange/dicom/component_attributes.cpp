// What DICONDE, the standard for nondestructive testing, says of the component and of the
// technique.
#include "interchange/dicom/attributes.h"

namespace lumo::interchange::dicom {

namespace {

constexpr Attribute components[] = {
    {0x0014, 0x0025, "ComponentManufacturingProcedure", "ST", Kind::component},
    {0x0014, 0x0028, "ComponentManufacturer", "ST", Kind::component},
    {0x0014, 0x0030, "MaterialThickness", "DS", Kind::component},
    {0x0014, 0x0032, "MaterialPipeDiameter", "DS", Kind::component},
    {0x0014, 0x0034, "MaterialIsolationDiameter", "DS", Kind::component},
    {0x0014, 0x0042, "MaterialGrade", "ST", Kind::component},
    {0x0014, 0x0050, "ComponentShape", "CS", Kind::component},
    {0x0014, 0x0052, "CurvatureType", "CS", Kind::component},
    {0x0014, 0x0054, "OuterDiameter", "DS", Kind::component},
    {0x0014, 0x0056, "InnerDiameter", "DS", Kind::component},
    {0x0014, 0x3011, "InternalDetectorFrameTime", "DS", Kind::component},
    {0x0014, 0x3012, "NumberOfFramesIntegrated", "DS", Kind::component},
    {0x0014, 0x3022, "SensorName", "ST", Kind::component},
    {0x0014, 0x3024, "HorizontalOffsetOfSensor", "DS", Kind::component},
    {0x0014, 0x3026, "VerticalOffsetOfSensor", "DS", Kind::component},
    {0x0014, 0x3028, "SensorTemperature", "DS", Kind::component},
    {0x0014, 0x3071, "KVUsedInGainCalibration", "DS", Kind::component},
    {0x0014, 0x3072, "MAUsedInGainCalibration", "DS", Kind::component},
    {0x0014, 0x3073, "NumberOfFramesUsedForIntegration", "DS", Kind::component},
    {0x0014, 0x3074, "FilterMaterialUsedInGainCalibration", "LO", Kind::component},
    {0x0014, 0x3075, "FilterThicknessUsedInGainCalibration", "DS", Kind::component},
    {0x0014, 0x3100, "LinearityCorrectionTechnique", "LT", Kind::component},
    {0x0014, 0x3101, "BeamHardeningCorrectionTechnique", "LT", Kind::component},
    {0x0014, 0x40A0, "ImageQualityIndicatorType", "LO", Kind::component},
    {0x0014, 0x40A1, "ImageQualityIndicatorMaterial", "LO", Kind::component},
    {0x0014, 0x40A2, "ImageQualityIndicatorSize", "LO", Kind::component},
    {0x0014, 0x5002, "LINACEnergy", "IS", Kind::component},
    {0x0014, 0x5004, "LINACOutput", "IS", Kind::component},
};

constexpr Attribute renamed[] = {
    {0x0010, 0x0010, "ComponentName", "PN", Kind::component},
    {0x0010, 0x0020, "ComponentIDNumber", "LO", Kind::component},
    {0x0010, 0x2160, "MaterialName", "SH", Kind::component},
};

/// Elements of the creators "astm.org/diconde/iod/NAME", from before group 0014 was reserved.
struct PrivateElement {
    std::string_view name;
    std::uint8_t element;
    std::string_view keyword;
};

constexpr PrivateElement privateElements[] = {
    {"NdeDxDetector", 0x11, "InternalDetectorFrameTime"},
    {"NdeDxDetector", 0x12, "NumberOfFramesIntegrated"},
    {"NdeDxDetector", 0x22, "SensorName"},
    {"NdeDxDetector", 0x24, "HorizontalOffsetOfSensor"},
    {"NdeDxDetector", 0x26, "VerticalOffsetOfSensor"},
    {"NdeDxDetector", 0x28, "SensorTemperature"},
    {"NdeCtDetector", 0x11, "InternalDetectorFrameTime"},
    {"NdeCtDetector", 0x12, "NumberOfFramesIntegrated"},
    {"NdeCtDetector", 0x22, "SensorName"},
    {"NdeCtDetector", 0x24, "HorizontalOffsetOfSensor"},
    {"NdeCtDetector", 0x26, "VerticalOffsetOfSensor"},
    {"NdeCtDetector", 0x28, "SensorTemperature"},
    {"NdeDxCalibrationData", 0x71, "KVUsedInGainCalibration"},
    {"NdeDxCalibrationData", 0x72, "MAUsedInGainCalibration"},
    {"NdeDxCalibrationData", 0x73, "NumberOfFramesUsedForIntegration"},
    {"NdeDxCalibrationData", 0x74, "FilterMaterialUsedInGainCalibration"},
    {"NdeDxCalibrationData", 0x75, "FilterThicknessUsedInGainCalibration"},
    {"NdeCtCalibrationData", 0x71, "KVUsedInGainCalibration"},
    {"NdeCtCalibrationData", 0x72, "MAUsedInGainCalibration"},
    {"NdeCtCalibrationData", 0x73, "NumberOfFramesUsedForIntegration"},
    {"NdeCtCalibrationData", 0x74, "FilterMaterialUsedInGainCalibration"},
    {"NdeCtCalibrationData", 0x75, "FilterThicknessUsedInGainCalibration"},
    {"NdeCTImage", 0x02, "LINACEnergy"},
    {"NdeCTImage", 0x04, "LINACOutput"},
    {"Component", 0x25, "ComponentManufacturingProcedure"},
    {"Component", 0x28, "ComponentManufacturer"},
    {"Component", 0x30, "MaterialThickness"},
    {"Component", 0x32, "MaterialPipeDiameter"},
    {"Component", 0x34, "MaterialIsolationDiameter"},
    {"Component", 0x42, "MaterialGrade"},
    {"Component", 0x50, "ComponentShape"},
    {"Component", 0x52, "CurvatureType"},
    {"Component", 0x54, "OuterDiameter"},
    {"Component", 0x56, "InnerDiameter"},
};

}  // namespace

std::span<const Attribute> componentAttributes() {
    return components;
}

std::span<const Attribute> renamedAttributes() {
    return renamed;
}

const Attribute* findPrivateComponent(std::string_view creator, std::uint8_t element) {
    if (!creator.starts_with(componentCreator)) return nullptr;
    const std::string_view name = creator.substr(creator.rfind('/') + 1);
    for (const PrivateElement& known : privateElements)
        if (known.name == name && known.element == element)
            return findAttribute(componentSection, known.keyword);
    return nullptr;
}

}  // namespace lumo::interchange::dicom
