// The source a population walks from: the module's root of the category tree.
#pragma once

class CVistrelPlugin;

CVistrelPlugin* RootSourceForPopulation();
