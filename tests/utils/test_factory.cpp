#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "LogCapture.h"
#include "utils/Factory.h"

namespace {

using velmo::Factory;
using velmo::FactoryRegisterer;
using velmo::json;
using velmo::test::LogCapture;

// A small family of its own, so the factory is tested apart from the library's names.
struct Shape {
  virtual ~Shape() = default;
  static Factory<Shape>& getFactory() {
    static Factory<Shape> factory("shape_type");
    return factory;
  }
};

struct Square : Shape {
  double side = 1.0;
  void create(const json& params) {
    if (params.is_object() && params.contains("side")) side = params["side"].get<double>();
  }
};

struct Circle : Shape {
  void create(const json&) {}
};

const FactoryRegisterer<Shape, Square> registerSquare("Square", "Shape");
const FactoryRegisterer<Shape, Circle> registerCircle("Circle", "Shape");
// A later registration under a taken name is dropped.
const FactoryRegisterer<Shape, Circle> registerSquareAgain("Square", "Shape");

TEST(Factory, CreatesByNameWithParameters) {
  EXPECT_EQ(sizeof(registerSquare), 1u);
  EXPECT_EQ(Shape::getFactory().getKey(), "shape_type");
  EXPECT_EQ(Shape::getFactory().getNames(), (std::vector<std::string>{"Circle", "Square"}));

  LogCapture log;
  auto shape = Shape::getFactory().createInstance(json{{"shape_type", "Square"}, {"Square_params", {{"side", 3}}}});
  auto* square = dynamic_cast<Square*>(shape.get());
  ASSERT_NE(square, nullptr) << "the first registration of a name must stay";
  EXPECT_EQ(square->side, 3.0);
  ASSERT_EQ(log.lines.size(), 1u);
  EXPECT_EQ(log.lines[0].severity, google::GLOG_INFO);
  EXPECT_EQ(log.lines[0].text, "Shape::createInstance: name Square, params {\"side\":3}");

  auto circle = Shape::getFactory().createInstance(json{{"shape_type", "Circle"}});
  EXPECT_NE(dynamic_cast<Circle*>(circle.get()), nullptr);
}

TEST(Factory, MissingOrForeignParametersKeepDefaults) {
  LogCapture log;
  // Only "<name>_params" counts; other blocks belong to other names.
  auto shape = Shape::getFactory().createInstance(json{{"shape_type", "Square"}, {"Circle_params", {{"side", 9}}}});
  auto* square = dynamic_cast<Square*>(shape.get());
  ASSERT_NE(square, nullptr);
  EXPECT_EQ(square->side, 1.0);
  ASSERT_EQ(log.lines.size(), 1u);
  EXPECT_EQ(log.lines[0].text, "Shape::createInstance: name Square, params null");
}

TEST(Factory, UnknownNameLogsAndReturnsNull) {
  LogCapture log;
  EXPECT_EQ(Shape::getFactory().createInstance(json{{"shape_type", "Triangle"}}), nullptr);
  EXPECT_EQ(log.texts(), (std::vector<std::string>{"getCreator Triangle failed", "createInstance Triangle failed"}));
  for (const auto& line : log.lines) EXPECT_EQ(line.severity, google::GLOG_INFO);
}

TEST(Factory, CreatorErrorsPassThrough) {
  json config{{"shape_type", "Square"}, {"Square_params", {{"side", "wide"}}}};
  EXPECT_THROW(Shape::getFactory().createInstance(config), json::type_error);
}

TEST(FactoryDeathTest, ConfigWithoutKeyStops) {
  EXPECT_DEATH(Shape::getFactory().createInstance(json{{"solver_type", "Square"}}),
               "Check failed: json.contains\\(key\\) json \\{\"solver_type\":\"Square\"\\} not contains key "
               "shape_type");
  EXPECT_DEATH(Shape::getFactory().createInstance(json::array({"shape_type"})),
               "Check failed: json.contains\\(key\\) json \\[\"shape_type\"\\] not contains key shape_type");
  EXPECT_DEATH(Shape::getFactory().createInstance(json()),
               "Check failed: json.contains\\(key\\) json null not contains key shape_type");
}

}  // namespace
