// CElevatedHelperSupport: the plug-in's two helpers (elevated and direct), created when first
// asked for and kept until released, and the global instance that the dialog owns.
#pragma once

#include "libs/talelev/elevated_helper.h"

class CVistrelPlugin;

class CElevatedHelperSupport {
  public:
    CElevatedHelperSupport() = default;
    // Releases both helpers.
    ~CElevatedHelperSupport();
    CElevatedHelperSupport(const CElevatedHelperSupport&) = delete;
    CElevatedHelperSupport& operator=(const CElevatedHelperSupport&) = delete;

    // The elevated (proper) or the direct helper, made on first request and then given again
    // without asking the factory. A failed request leaves the field null, so the next request
    // asks again; with elevated and fallBack both true a failure fills the elevated field with
    // a direct helper, which it keeps until released. Null when no helper could be got.
    IElevatedHelper* GetElevatedHelper(bool elevated, bool fallBack);

    // Releases the elevated helper; the next elevated request makes a new one.
    void ReleaseElevatedHelper();
    // Releases both helpers.
    void ReleaseAllHelpers();
    // Whether helper is one of the two fields.
    bool Holds(const IElevatedHelper* helper) const {
        return helper == m_elevatedHelper || helper == m_directHelper;
    }

  private:
    IElevatedHelper* m_elevatedHelper = nullptr;
    IElevatedHelper* m_directHelper = nullptr;
};

// The instance that exists from the dialog's initialisation to its destruction; null outside.
extern CElevatedHelperSupport* g_elevatedHelperSupport;

// Makes a new empty instance, releasing and deleting an existing one first.
void CreateElevatedHelperSupport();
// Releases both helpers, deletes the instance and sets the global to null. Harmless without one.
void DestroyElevatedHelperSupport();
// Releases the elevated helper of the instance (after a batch of work). Harmless without one.
void ReleaseElevatedHelper();
// GetElevatedHelper of the instance; null when there is no instance.
IElevatedHelper* GetGlobalElevatedHelper(bool elevated, bool fallBack);
// Whether helper is one that the instance holds now. A borrowed pointer that fails this was
// released with its batch of work and must not be called.
bool IsHeldHelper(const IElevatedHelper* helper);
// The helper for a source's writes: elevated when its NeedsElevation is set, else direct; no
// fallback. Null when there is no instance, no source or no helper.
IElevatedHelper* GetHelperForSource(const CVistrelPlugin* source);
