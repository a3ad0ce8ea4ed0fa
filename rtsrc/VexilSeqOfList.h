// Base of the control classes of lists ("list" form): binds an
// ASN1TSeqOfList to a context and appends element records to it.
#ifndef VEXILSEQOFLIST_H
#define VEXILSEQOFLIST_H

#include "VexilType.h"
#include "asn1type.h"

class VexilSeqOfList : public VexilType {
 protected:
   ASN1TSeqOfList* mpList;  // never owned

 public:
   // A context of its own.
   explicit VexilSeqOfList(ASN1TSeqOfList& list);
   // The buffer's context.
   VexilSeqOfList(VXRTMessageBufferIF& msgBuf, ASN1TSeqOfList& list);
   // The context of another control object.
   VexilSeqOfList(VexilType& ctl, ASN1TSeqOfList& list);
   ~VexilSeqOfList() override {}

   // Appends a node holding `data`; -22 without a context, -10 if the heap
   // refuses the node.
   int append(void* data);
   // Frees what the list owns; the generated classes know how.
   virtual void freeMemory() {}

   uint64_t getCount() const { return mpList->count; }
   ASN1TSeqOfList& getList() { return *mpList; }
};

#endif
