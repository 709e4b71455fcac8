// The fixed tree of categories: the root and its containers. The order in which a constructor
// appends its children is the order in which the page shows them.
#pragma once

#include <cstdint>

#include "sources/plugin.h"

// The root: no name, no node of its own; its children are the page's top-level categories.
class CVistrelMainPlugin : public CVistrelPluginContainer {
  public:
    CVistrelMainPlugin();
};

class CVistrelRunItems : public CVistrelPluginContainer {
  public:
    CVistrelRunItems();
    std::int32_t GetNameId() override { return 22300; }
    std::int32_t GetDescriptionId() override { return 22301; }
};

class CVistrelStartupItems : public CVistrelPluginContainer {
  public:
    CVistrelStartupItems();
    std::int32_t GetNameId() override { return 22330; }
    std::int32_t GetDescriptionId() override { return 22331; }
};

class CVistrelLoadItems : public CVistrelPluginContainer {
  public:
    CVistrelLoadItems();
    std::int32_t GetNameId() override { return 22350; }
    std::int32_t GetDescriptionId() override { return 22351; }
};

class CVistrelINI : public CVistrelPluginContainer {
  public:
    CVistrelINI();
    std::int32_t GetNameId() override { return 22440; }
    std::int32_t GetDescriptionId() override { return 22441; }
};

class CVistrelScripts : public CVistrelPluginContainer {
  public:
    CVistrelScripts();
    std::int32_t GetNameId() override { return 22380; }
    std::int32_t GetDescriptionId() override { return 22381; }
};

class CVistrelServices : public CVistrelPluginContainer {
  public:
    CVistrelServices();
    std::int32_t GetNameId() override { return 22391; }
    std::int32_t GetDescriptionId() override { return 22392; }
};

class CVistrelIE : public CVistrelPluginContainer {
  public:
    CVistrelIE();
    std::int32_t GetNameId() override { return 22400; }
    std::int32_t GetDescriptionId() override { return 22401; }
};

class CVistrelWE : public CVistrelPluginContainer {
  public:
    CVistrelWE();
    std::int32_t GetNameId() override { return 22420; }
    std::int32_t GetDescriptionId() override { return 22421; }
};
