// The slots of the callbacks that a host registers; the library calls none of them.
#include "brantix/frame.h"

SCI_krellLoginCb_fn SCI_krellLoginCb = nullptr;
SCI_krellTftpCoreTransferStatusCb_fn SCI_krellTftpCoreTransferStatusCb = nullptr;
SCI_snmpGetRequestCb_fn SCI_snmpGetRequestCb = nullptr;
SCI_cliSessionAnnounceCb_fn SCI_cliSessionAnnounceCb = nullptr;

void FCI_register_SCI_krellLoginCb(SCI_krellLoginCb_fn cb) { SCI_krellLoginCb = cb; }

void FCI_register_SCI_krellTftpCoreTransferStatusCb(SCI_krellTftpCoreTransferStatusCb_fn cb) {
  SCI_krellTftpCoreTransferStatusCb = cb;
}

void FCI_register_SCI_snmpGetRequestCb(SCI_snmpGetRequestCb_fn cb) { SCI_snmpGetRequestCb = cb; }

void FCI_register_SCI_cliSessionAnnounceCb(SCI_cliSessionAnnounceCb_fn cb) { SCI_cliSessionAnnounceCb = cb; }
