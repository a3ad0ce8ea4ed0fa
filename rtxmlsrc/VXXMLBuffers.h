// XML message buffers: the information record on the buffer's context and
// the writer's operations, and the buffer the text is written into.
#ifndef VXXMLBUFFERS_H
#define VXXMLBUFFERS_H

#include <cstdio>

#include "VXRTMessageBuffer.h"
#include "rtXml.h"

class VXXMLMessageBuffer : public VXRTMessageBuffer {
 protected:
   // Sets up the XML information record when the context is sound.
   VXXMLMessageBuffer(Type bufferType, VXRTContext* pContext);

 public:
   void* getAppInfo() override;
   void setNamespace(const char* uri, const char* prefix) override;
   void setAppInfo(void* pAppInfo) override;
   virtual int getIndent();
   virtual int getIndentChar();
   virtual bool getWriteBOM();
   virtual void setFormatting(bool doFormatting);
   virtual void setIndent(uint8_t indent);
   virtual void setIndentChar(char indentChar);
   virtual void setWriteBOM(bool write);
};

class VXXMLEncodeBase : public VXXMLMessageBuffer {
 protected:
   explicit VXXMLEncodeBase(VXRTContext* pContext) : VXXMLMessageBuffer(XMLEncode, pContext) {}

 public:
   virtual int encodeAttr(const char* name, const char* value);
   virtual int startDocument() { return rtXmlEncStartDocument(getCtxtPtr()); }
   virtual int startElement(const char* elemName, VXXMLNamespace* pNS = nullptr,
                            VXRTDList* pNSAttrs = nullptr, bool terminate = false)
   {
      return rtXmlEncStartElement(getCtxtPtr(), elemName, pNS, pNSAttrs, terminate);
   }
   virtual int termStartElement() { return rtXmlEncTermStartElement(getCtxtPtr()); }
   virtual int encodeText(const char* value) { return rtXmlEncStringValue(getCtxtPtr(), value); }
   virtual int endElement(const char* elemName, VXXMLNamespace* pNS = nullptr)
   {
      return rtXmlEncEndElement(getCtxtPtr(), elemName, pNS);
   }
   bool isA(Type bufferType) override { return bufferType == XMLEncode; }
};

class VXXMLEncodeBuffer : public VXXMLEncodeBase {
 public:
   // A growing buffer on a plain context of its own.
   VXXMLEncodeBuffer();
   // The caller's memory; it can not grow.
   VXXMLEncodeBuffer(uint8_t* pMsgBuf, size_t msgBufLen);

   // The declaration with the given version and encoding, and a line feed
   // if asked; the document then gets no second one.
   virtual int addXMLHeader(const char* version = "1.0", const char* encoding = VXXMLHDRUTF8,
                            bool newLine = true);
   // Text as it is, without escapes.
   virtual int addXMLText(const char* text);
   int init() override;
   virtual void setFragment(bool value = true);
   size_t getMsgLen() override { return getByteIndex(); }

   virtual int write(const char* filename);
   virtual int write(FILE* fp);
};

class VXRTInputStream;

class VXXMLDecodeBuffer : public VXXMLMessageBuffer {
 protected:
   VXRTInputStream* mpInputStream;
   bool mbOwnStream;

 public:
   // Reads from the caller's stream and shares its context.
   explicit VXXMLDecodeBuffer(VXRTInputStream& inputStream);
   // Reads the given bytes in place through a memory stream it owns.
   VXXMLDecodeBuffer(const uint8_t* pMsgBuf, size_t msgBufLen);
   ~VXXMLDecodeBuffer() override;
   VXXMLDecodeBuffer(const VXXMLDecodeBuffer&) = delete;
   VXXMLDecodeBuffer& operator=(const VXXMLDecodeBuffer&) = delete;

   int init() override { return 0; }
   bool isA(Type bufferType) override { return bufferType == XMLDecode; }
   // The most errors an event-driven reading would collect.
   virtual void setMaxErrors(uint32_t maxErrors);
   // Whether the input holds a well-formed root element (what follows its
   // end tag is not read). The input is read between a stream mark and its
   // reset, so a decode can follow; why a document was refused stays in
   // the context's error list.
   virtual bool isWellFormed();
   // The local name of the document's root element (say, which message a
   // text holds), copied onto the context's heap; read between a stream
   // mark and its reset like isWellFormed. 0 or a status.
   virtual int parseElementName(char** ppName);
};

#endif
