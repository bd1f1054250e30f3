#include "JsonReport.h"

#include <cmath>
#include <cstdio>

namespace {

std::string Quoted(const std::string& text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            quoted += '\\';
            quoted += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", c);
            quoted += escape;
        } else {
            quoted += c;
        }
    }
    return quoted + '"';
}

// JSON has no infinity or NaN: those become null.
std::string Number(double value) {
    if (!std::isfinite(value)) return "null";
    char text[32];
    std::snprintf(text, sizeof text, "%.6g", value);
    return text;
}

std::string Bool(bool value) { return value ? "true" : "false"; }

// Builds one object; `Field` adds "name": value pairs.
class Object {
public:
    Object& Field(const std::string& name, const std::string& json) {
        m_text += (m_text.empty() ? "" : ", ") + Quoted(name) + ": " + json;
        return *this;
    }
    std::string Text() const { return "{" + m_text + "}"; }

private:
    std::string m_text;
};

template <class T, class ToJson>
std::string Array(const std::vector<T>& items, ToJson toJson, const std::string& separator = ", ") {
    std::string text;
    for (const T& item : items) text += (text.empty() ? "" : separator) + toJson(item);
    return "[" + text + "]";
}

std::string MeasurementJson(const Measurement& m) {
    return Object()
        .Field("operation", Quoted(m.operation))
        .Field("work", Quoted(m.work))
        .Field("unit", Quoted(m.unit))
        .Field("itemsPerCall", Number(m.itemsPerCall))
        .Field("itemsPerSecond", Number(m.ItemsPerSecond()))
        .Field("nsPerItem", Number(m.NanosecondsPerItem()))
        .Field("baselineItemsPerSecond", Number(m.BaselineItemsPerSecond()))
        .Field("baselineNsPerItem", Number(m.BaselineNanosecondsPerItem()))
        .Field("ratio", Number(m.Ratio()))
        .Text();
}

std::string DifferencesJson(const SkinningDifferences& d, bool tangentsWritten) {
    return Object()
        .Field("vertices", Number(d.vertices))
        .Field("positionError", Number(d.position))
        .Field("relativePositionError", Number(d.relativePosition))
        .Field("normalError", Number(d.normal))
        .Field("tangentError", tangentsWritten ? Number(d.tangent) : "null")
        .Text();
}

}  // namespace

std::string JsonReport(const MeshSummary& mesh, const std::vector<ImplementationResult>& results,
                       int libraryReports) {
    const std::string meshJson = Object()
                                     .Field("name", Quoted(mesh.name))
                                     .Field("vertices", Number(double(mesh.vertices)))
                                     .Field("triangles", Number(double(mesh.triangles)))
                                     .Field("bones", Number(double(mesh.bones)))
                                     .Field("mostInfluences", Number(double(mesh.mostInfluences)))
                                     .Field("trimmedVertices", Number(double(mesh.trimmedVertices)))
                                     .Field("animation", Quoted(mesh.animation))
                                     .Field("animationSeconds", Number(mesh.animationSeconds))
                                     .Field("frames", Number(mesh.frames))
                                     .Field("directions", Quoted(mesh.directions == Directions::Float ? "float" : "packed"))
                                     .Text();
    const auto resultJson = [&](const ImplementationResult& r) {
        return Object()
            .Field("name", Quoted(ImplementationName(r.implementation)))
            .Field("traceLine", Quoted(r.traceLine))
            .Field("skinningFull", DifferencesJson(r.full, r.tangentsWritten))
            .Field("skinningSingle", DifferencesJson(r.single, r.tangentsWritten))
            .Field("skinningAgrees", Bool(r.SkinningAgrees(mesh.directions)))
            .Field("fogFrames", Number(r.fogFrames))
            .Field("fogMismatches", Number(double(r.fogMismatches)))
            .Field("campMismatches", Number(double(r.campMismatches)))
            .Field("fogAgrees", Bool(r.FogAgrees()))
            .Field("pictures", Array(r.pictures, Quoted))
            .Field("performance", Array(r.performance, MeasurementJson, ",\n      "))
            .Text();
    };
    return Object()
               .Field("mesh", meshJson)
               .Field("implementations", Array(results, resultJson, ",\n  "))
               .Field("libraryReports", Number(libraryReports))
               .Text() +
           "\n";
}
