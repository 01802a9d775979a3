#pragma once

class OrvanStdio;

// Tells behind the list of modules how to reach a module's help. Main thread.
void ShowModuleListHint(OrvanStdio& view);
