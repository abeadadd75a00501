// Library lifetime and argument validators behind the exported functions.
#ifndef KVMCF_API_DLLMAIN_H
#define KVMCF_API_DLLMAIN_H

class TMCFIOManager;

// The one manager of the process; created when the library loads.
extern TMCFIOManager* mcfManager;

int InitialiseLibrary();
int FinaliseLibrary();

bool IsDataSourceValid(int value);
bool IsStructureElementValid(int value);
bool IsReadModeValid(int value);

#endif
